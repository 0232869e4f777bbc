// The command "import": the scene is written aside and renamed at the end.
// SPDX-License-Identifier: MIT
#include "import/import.h"

#include "files.h"
#include "frame/phases.h"
#include "import/pictures.h"
#include "import/reader.h"
#include "import/summary.h"
#include "import/vertex_colors.h"
#include "import/write_scene.h"
#include "math/input_file.h"
#include "output/file_writer.h"
#include "pictures/convert.h"
#include "render.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <iostream>

#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

namespace mh {

namespace {

namespace fs = std::filesystem;

constexpr const char* kFrame = "frame_"; // and its number: a scene of several

int fail(int status, const std::string& reason) {
    Complain(reason);
    return status;
}

// A directory that goes with its content, unless it was renamed.
struct Aside {
    std::string path;

    ~Aside() {
        std::error_code none;
        if (!path.empty()) fs::remove_all(path, none);
    }
};

std::string make_aside(const std::string& beginning, Aside& aside) {
    std::string name = beginning + ".XXXXXX";
    if (mkdtemp(name.data()) == nullptr)
        return "cannot make a directory beside " + beginning + ": " + std::strerror(errno);
    aside.path = name;
    return {};
}

std::string without_slashes(std::string path) {
    while (path.size() > 1 && path.ends_with('/'))
        path.pop_back();
    return path;
}

std::string folder_of(const std::string& file) {
    const std::string folder = fs::path(file).parent_path();
    return folder.empty() ? "." : folder;
}

bool is_gltf(const std::string& file) {
    const std::string extension = ExtensionOf(file);
    return extension == ".gltf" || extension == ".glb";
}

// What --force may replace: nothing but what an import writes.
bool holds_a_scene_alone(const std::string& directory) {
    constexpr const char* kFolders[] = {"shader", "render", "light", "camera", "geometry", "image"};
    std::error_code error;
    for (const fs::directory_entry& entry : fs::directory_iterator(directory, error)) {
        const std::string name = entry.path().filename();
        const bool frame = name.starts_with(kFrame) && fs::is_directory(entry.path(), error);
        if (!frame
            && std::find(std::begin(kFolders), std::end(kFolders), name) == std::end(kFolders))
            return false;
    }
    return !error;
}

// Empty when the directory may be written.
std::string refusal(const std::string& directory, bool force) {
    std::error_code none;
    if (!fs::exists(fs::symlink_status(directory, none))) return {};
    if (!force) return directory + " is there already; --force replaces it";
    if (!fs::is_directory(directory, none) || !holds_a_scene_alone(directory))
        return directory + " holds more than a scene, and is not replaced";
    return {};
}

// The older directory goes once the new one stands in its place.
std::string settle(Aside& aside, const std::string& directory) {
    constexpr mode_t kUsual = 0777;
    const mode_t mask = umask(0);
    umask(mask);
    chmod(aside.path.c_str(), kUsual & ~mask);
    std::error_code none;
    const unsigned flags = fs::exists(directory, none) ? RENAME_EXCHANGE : RENAME_NOREPLACE;
    if (renameat2(AT_FDCWD, aside.path.c_str(), AT_FDCWD, directory.c_str(), flags) != 0)
        return "cannot rename " + aside.path + " to " + directory + ": " + std::strerror(errno);
    if (flags == RENAME_NOREPLACE) aside.path.clear();
    return {};
}

struct Import {
    std::string file;
    bool link = false;
    double seconds = -1.0; // of the animation; below 0 none
    ImportedScene scene;
    MappedScene mapped;
};

// Reads, maps and writes below the directory.
int import_into(Import& import, const std::string& directory) {
    const std::string fault = ReadForeignFile(import.file, import.seconds, import.scene);
    if (!fault.empty()) return fail(kWrongUse, import.file + ' ' + fault);
    PaintVertexColors(import.scene);
    const PictureSources sources =
        FindPictures(folder_of(import.file), is_gltf(import.file), import.scene);
    if (!sources.fault.empty()) return fail(kWrongUse, import.file + ' ' + sources.fault);
    import.mapped = MapScene(import.scene, {});
    if (import.mapped.instances == 0) return fail(kWrongUse, import.file + " holds no faces");
    bool unreadable = false;
    const std::string unwritten =
        WriteScene(import.scene, import.mapped, sources, import.link, directory, unreadable);
    if (unwritten.empty()) return kDone;
    return unreadable ? fail(kWrongUse, import.file + ": " + unwritten)
                      : fail(kNotWritten, unwritten);
}

Import import_of(const Arguments& arguments) {
    Import import;
    import.link = arguments.textures == "link";
    if (arguments.time_s) import.seconds = *arguments.time_s;
    return import;
}

bool same_content(const fs::path& a, const fs::path& b) {
    std::string first, second;
    std::error_code error;
    return fs::is_regular_file(fs::symlink_status(b, error)) && ReadWholeFile(a, first)
           && ReadWholeFile(b, second) && first == second;
}

// Files that two frames have in common become one on the disk.
void share_files(const fs::path& older, const fs::path& newer) {
    std::error_code error;
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(newer, error)) {
        const fs::path other = older / fs::relative(entry.path(), newer, error);
        if (!entry.is_regular_file(error) || !same_content(entry.path(), other)) continue;
        const fs::path linked = entry.path().string() + ".linked";
        fs::create_hard_link(other, linked, error);
        if (!error) fs::rename(linked, entry.path(), error);
    }
}

std::string frame_name(int frame) {
    std::string digits = std::to_string(frame);
    return kFrame + std::string(digits.size() < 4 ? 4 - digits.size() : 0, '0') + digits;
}

// The camera that is added stands still, and sees what all frames hold.
std::string share_camera(const std::vector<std::string>& folders, const Extent& seen) {
    const std::string first = folders[0] + '/' + kCameraFile;
    const std::string fault = ReplaceFile(first, CameraOfAll(seen));
    if (!fault.empty()) return "cannot write " + first + ": " + fault;
    for (std::size_t i = 1; i < folders.size(); ++i) {
        const std::string path = folders[i] + '/' + kCameraFile;
        std::error_code error;
        fs::copy_file(first, path, fs::copy_options::overwrite_existing, error);
        if (error) return "cannot write " + path + ": " + error.message();
        share_files(fs::path(folders[i - 1]) / "camera", fs::path(folders[i]) / "camera");
    }
    return {};
}

// A scene for each frame below the directory.
int import_frames(const Arguments& arguments, Import& import, const std::string& directory) {
    constexpr double kUsualRate = 24.0;
    std::vector<std::string> folders;
    Extent seen;
    for (int frame = (*arguments.frames)[0]; frame < (*arguments.frames)[1]; ++frame) {
        const std::string file = import.file;
        import = import_of(arguments);
        import.file = file;
        import.seconds = frame / arguments.frames_per_second.value_or(kUsualRate);
        const std::string folder = directory + '/' + frame_name(frame);
        std::error_code error;
        if (!fs::create_directory(folder, error))
            return fail(kNotWritten, "cannot make " + folder + ": " + error.message());
        const int status = import_into(import, folder);
        if (status != kDone) return status;
        if (!folders.empty()) share_files(folders.back(), folder);
        folders.push_back(folder);
        seen = Joined(seen, import.mapped.seen);
    }
    if (import.mapped.has_camera) return kDone;
    const std::string fault = share_camera(folders, seen);
    return fault.empty() ? kDone : fail(kNotWritten, fault);
}

int import_started(const Arguments& arguments) {
    Import import = import_of(arguments);
    import.file = arguments.import_file;
    const std::string directory =
        without_slashes(arguments.import_dir.empty() ? fs::path(import.file).stem().string()
                                                     : arguments.import_dir);
    const std::string refused = refusal(directory, arguments.force);
    if (!refused.empty()) return fail(kWrongUse, refused);
    Aside aside;
    const std::string unmade = make_aside(directory, aside);
    if (!unmade.empty()) return fail(kNotWritten, unmade);
    const int status = arguments.frames ? import_frames(arguments, import, aside.path)
                                        : import_into(import, aside.path);
    if (status != kDone) return status;
    const std::string unsettled = settle(aside, directory);
    if (!unsettled.empty()) return fail(kNotWritten, unsettled);
    const Summary summary = SummaryOf(
        import.scene, import.mapped, import.file,
        arguments.frames ? directory + '/' + frame_name((*arguments.frames)[0]) : directory);
    std::cout << (arguments.json ? JsonOf(summary) : TextOf(summary)) << std::flush;
    return std::cout ? kDone : kNotWritten;
}

int import_apart(const Arguments& arguments, const std::string& directory) {
    Startup();
    Import import = import_of(arguments);
    import.file = arguments.scene;
    const int status = import_into(import, directory);
    Finalize();
    Shutdown();
    if (status == kDone)
        Complain(TextOf(SummaryOf(import.scene, import.mapped, import.file, {}), true));
    return status;
}

// A picture for people beside the one in floats.
int convert_beauty(const Arguments& arguments, const std::string& picture, const std::string& png) {
    const std::string folder = arguments.output_dir.empty() ? "" : arguments.output_dir + '/';
    Arguments conversion;
    conversion.first_image = folder + picture;
    conversion.second_image = folder + png;
    const std::optional<double> exposure = FittingExposure(conversion.first_image);
    if (exposure) conversion.exposure = *exposure;
    if (conversion.exposure != 0.0)
        Complain(png + " is brightened by " + std::to_string(std::lround(conversion.exposure))
                 + " stops");
    const int status = ConvertImage(conversion);
    if (status == kDone)
        Complain("pictures: " + conversion.first_image + ", " + conversion.second_image);
    return status;
}

} // namespace

bool IsForeignFile(const std::string& path) {
    return static_cast<bool>(OpenInput(path, Origin::user));
}

int ImportFile(const Arguments& arguments) {
    if (arguments.list_formats) {
        const std::string formats = FormatList();
        std::cout << formats << std::flush;
        return formats.empty() ? fail(kWrongUse, "needs the helper program moonhare-import")
                               : kDone;
    }
    if (arguments.import_file.empty()) return fail(kWrongUse, "a FILE is required");
    Startup();
    const int status = import_started(arguments);
    Finalize();
    Shutdown();
    return status;
}

int RenderForeignFile(const Arguments& arguments) {
    Aside aside;
    std::error_code none;
    const std::string unmade = make_aside(fs::temp_directory_path(none) / "moonhare", aside);
    if (!unmade.empty()) return fail(kNotWritten, unmade);
    const int imported = import_apart(arguments, aside.path);
    if (imported != kDone) return imported;
    Arguments render = arguments;
    render.scene = aside.path;
    const std::string stem = fs::path(arguments.scene).stem();
    const bool own_name = arguments.beauty.empty();
    if (own_name) render.beauty = stem + ".hdr";
    const int status = RenderScene(render);
    const bool has_picture = status == kDone || status == kInterrupted;
    if (!own_name || !has_picture) return status;
    const int converted = convert_beauty(arguments, render.beauty, stem + ".png");
    return status == kDone ? converted : status;
}

} // namespace mh
