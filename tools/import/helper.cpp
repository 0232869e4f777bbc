// The helper program of "moonhare import": reads one file under limits on time, memory and files,
// and writes what it holds to standard output. What a damaged file does to its reader ends here.
// usage: moonhare-import FILE SECONDS BYTES TIME | moonhare-import --list-formats
// SPDX-License-Identifier: MIT
#include "decode/confine.h"
#include "import/folder_files.h"
#include "import/gltf_extensions.h"
#include "import/read_scene.h"
#include "import/scene_stream.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <assimp/DefaultLogger.hpp>
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

// Faces with indices beyond the vertices are left out by the library, with this warning alone.
class LostFaces : public Assimp::LogStream {
public:
    void write(const char* message) override {
        found = found || std::strstr(message, "out-of-range indices") != nullptr;
    }

    bool found = false;
};

const aiScene* read(Assimp::Importer& importer, const std::string& name) {
    importer.SetPropertyInteger(AI_CONFIG_PP_SBP_REMOVE,
                                aiPrimitiveType_POINT | aiPrimitiveType_LINE);
    importer.SetPropertyBool(AI_CONFIG_FBX_CONVERT_TO_M, true);
    importer.SetPropertyBool(AI_CONFIG_IMPORT_FBX_PRESERVE_PIVOTS, false);
    return importer.ReadFile(name, aiProcess_Triangulate | aiProcess_SortByPType
                                       | aiProcess_GlobalScale | aiProcess_ValidateDataStructure);
}

mh::ImportAnswer answer_for(const std::string& name, mh::FolderFiles& files, double seconds) {
    Assimp::Importer importer;
    importer.SetIOHandler(&files);
    mh::ImportAnswer answer;
    LostFaces lost;
    Assimp::DefaultLogger::create("", Assimp::Logger::NORMAL, 0);
    Assimp::DefaultLogger::get()->attachStream(&lost, Assimp::Logger::Warn);
    const aiScene* const scene = read(importer, name);
    Assimp::DefaultLogger::get()->detachStream(&lost, Assimp::Logger::Warn);
    const std::string extension = extension_of(name);
    const bool strict = extension == "gltf" || extension == "glb";
    if (strict && !files.outside().empty())
        answer.fault = "names " + files.outside() + ", which lies outside its folder";
    else if (scene == nullptr)
        answer.fault = importer.GetErrorString();
    else if (lost.found)
        answer.fault = "has faces with indices beyond their vertices";
    else if (scene->mRootNode == nullptr)
        answer.fault = "holds no scene";
    if (answer.fault.empty()) {
        mh::PoseScene(const_cast<aiScene&>(*scene), seconds);
        answer.scene.duration_s = mh::DurationOf(*scene);
        mh::ReadScene(*scene, extension, answer.scene);
        if (strict) mh::ReadGltfExtensions(files, name, answer.scene);
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
