// The helper program of "moonhare import": reads one file under limits on time, memory and files,
// and writes what it holds to standard output. What a damaged file does to its reader ends here.
// usage: moonhare-import FILE SECONDS BYTES TIME | moonhare-import --list-formats
// SPDX-License-Identifier: MIT
#include "decode/confine.h"
#include "import/folder_files.h"
#include "import/gltf_extensions.h"
#include "import/read_scene.h"
#include "import/scene_stream.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <set>

#include <assimp/DefaultLogger.hpp>
#include <assimp/IOStream.hpp>
#include <assimp/Importer.hpp>
#include <assimp/LogStream.hpp>
#include <assimp/importerdesc.h>
#include <assimp/postprocess.h>
#include <unistd.h>

namespace {

std::string extension_of(const std::string& name) {
    const std::size_t dot = name.rfind('.');
    std::string extension = dot == name.npos ? "" : name.substr(dot + 1);
    for (char& c : extension)
        c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    return extension;
}

int list_formats() {
    Assimp::Importer importer;
    for (std::size_t i = 0; i < importer.GetImporterCount(); ++i) {
        const aiImporterDesc& description = *importer.GetImporterInfo(i);
        std::printf("%-32s %s\n", description.mFileExtensions, description.mName);
    }
    return 0;
}

// What the library leaves out and says nowhere but in its log.
class Log : public Assimp::LogStream {
public:
    void write(const char* message) override {
        if (std::strstr(message, "out-of-range indices") != nullptr)
            fault = "has faces with indices beyond their vertices";
        if (std::strstr(message, "Ignoring empty face") != nullptr)
            fault = "has faces without corners";
        if (std::strncmp(message, "Error", 5) != 0 || errors.size() == kMost) return;
        const char* const text = std::strstr(message, ": ");
        errors.insert(text == nullptr ? message : text + 2);
    }

    static constexpr std::size_t kMost = 8;
    static constexpr unsigned kLevels = Assimp::Logger::Warn | Assimp::Logger::Err;
    std::string fault;
    std::set<std::string> errors;
};

const aiScene* read(Assimp::Importer& importer, const std::string& name) {
    importer.SetPropertyInteger(AI_CONFIG_PP_SBP_REMOVE,
                                aiPrimitiveType_POINT | aiPrimitiveType_LINE);
    importer.SetPropertyBool(AI_CONFIG_FBX_CONVERT_TO_M, true);
    importer.SetPropertyBool(AI_CONFIG_IMPORT_FBX_PRESERVE_PIVOTS, false);
    return importer.ReadFile(name, aiProcess_Triangulate | aiProcess_SortByPType
                                       | aiProcess_GlobalScale | aiProcess_ValidateDataStructure);
}

bool mentions(const std::string& text, std::initializer_list<const char*> words) {
    return std::any_of(words.begin(), words.end(),
                       [&](const char* word) { return text.find(word) != text.npos; });
}

// The library's words, unless they say nothing to those who do not know it.
std::string reason_of(const std::string& error) {
    if (mentions(error, {"bad_alloc"})) return "claims more memory than its reader may take";
    if (mentions(error, {"No meshes remaining", "contains no faces", "mNumMeshes is 0"}))
        return "holds no faces, but points, lines or nothing";
    return error;
}

std::string one_line(const std::string& text) {
    return text.substr(0, text.find_first_of("\r\n"));
}

std::string content_of(mh::FolderFiles& files, const std::string& name) {
    Assimp::IOStream* const file = files.Open(name.c_str(), "rb");
    if (file == nullptr) return {};
    std::string content(file->FileSize(), '\0');
    if (file->Read(content.data(), 1, content.size()) != content.size()) content.clear();
    files.Close(file);
    return content;
}

mh::ImportAnswer answer_for(const std::string& name, mh::FolderFiles& files, double seconds) {
    Assimp::Importer importer;
    importer.SetIOHandler(&files);
    mh::ImportAnswer answer;
    Log log;
    Assimp::DefaultLogger::create("", Assimp::Logger::NORMAL, 0);
    Assimp::DefaultLogger::get()->attachStream(&log, Log::kLevels);
    const aiScene* const scene = read(importer, name);
    Assimp::DefaultLogger::get()->detachStream(&log, Log::kLevels);
    const std::string extension = extension_of(name);
    const bool strict = extension == "gltf" || extension == "glb";
    if (strict && !files.outside().empty())
        answer.fault = "names " + files.outside() + ", which lies outside its folder";
    else if (scene == nullptr)
        answer.fault = reason_of(importer.GetErrorString());
    else if (!log.fault.empty())
        answer.fault = log.fault;
    else if (scene->mRootNode == nullptr)
        answer.fault = "holds no scene";
    if (answer.fault.empty()) {
        mh::PoseScene(const_cast<aiScene&>(*scene), seconds);
        answer.scene.duration_s = mh::DurationOf(*scene);
        mh::ReadScene(*scene, extension, answer.scene);
        if (strict) mh::ReadGltfExtensions(content_of(files, name), answer.scene);
        for (const std::string& error : log.errors)
            answer.scene.dropped.push_back("what the reader could not use: " + one_line(error));
        if (!strict && !files.outside().empty())
            answer.scene.dropped.push_back("file " + files.outside()
                                           + ", which lies outside the folder");
    }
    importer.SetIOHandler(nullptr); // it would delete what it does not own
    return answer;
}

bool put(std::span<const std::byte> bytes) {
    return std::fwrite(bytes.data(), 1, bytes.size(), stdout) == bytes.size();
}

} // namespace

int main(int count, char** arguments) {
    if (count == 2 && std::strcmp(arguments[1], "--list-formats") == 0) return list_formats();
    if (count != 5) return 2;
    const std::string path = arguments[1];
    const std::size_t slash = path.rfind('/');
    mh::FolderFiles files(slash == path.npos ? "." : path.substr(0, slash + 1));
    files.hold_process();
    if (!mh::Confine(arguments[2], arguments[3], mh::Reads::files_below_a_folder)) return 1;
    const std::string name = slash == path.npos ? path : path.substr(slash + 1);
    const mh::ImportAnswer answer = answer_for(name, files, std::strtod(arguments[4], nullptr));
    const bool written = mh::WriteAnswer(answer, put) && std::fflush(stdout) == 0;
    _exit(written ? 0 : 1); // without the reader's own endings
}
