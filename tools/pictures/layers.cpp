// All images of a run as layers of one OpenEXR file.
// SPDX-License-Identifier: MIT
#include "pictures/layers.h"

#include "math/at.h"
#include "output/file_writer.h"
#include "output/run_hooks.h"
#include "output/state.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <exception>
#include <filesystem>
#include <map>
#include <mutex>
#include <set>
#include <vector>

#include <ImfChannelList.h>
#include <ImfFrameBuffer.h>
#include <ImfHeader.h>
#include <ImfIO.h>
#include <ImfOutputFile.h>
#include <half.h>

namespace mh {

namespace {

struct Collected {
    std::mutex lock; // images are also written by the thread that watches for signals
    std::map<std::string, Image> images; // by their paths
    bool floats = false;                 // as other EXR files of the run
};

Collected collected;

void collect(const Image& image) {
    const std::lock_guard guard(collected.lock);
    if (image.channels == 3 && image.bits == 32) collected.images[image.path] = image;
}

// The encoder's file.
class MemoryStream : public Imf::OStream {
public:
    MemoryStream() : Imf::OStream("memory") {}

    void write(const char bytes[], int count) override {
        const auto length = to_size(count);
        content.resize(std::max(content.size(), at + length));
        std::copy_n(bytes, length, content.begin() + static_cast<std::ptrdiff_t>(at));
        at += length;
    }

    std::uint64_t tellp() override { return at; }

    void seekp(std::uint64_t place) override { at = place; }

    std::string content;

private:
    std::size_t at = 0;
};

// Files of one name and two formats keep their extensions.
std::string name_of_layer(const std::string& path, std::set<std::string>& taken) {
    const std::filesystem::path file(path);
    std::string name = file.stem().string();
    if (!taken.insert(name).second) name = file.filename().string();
    return name;
}

template<typename Number>
Number stored(float value) {
    constexpr float kLargestHalf = 65504.0f;
    if (!std::isfinite(value)) return Number(0.0f);
    if constexpr (std::is_same_v<Number, float>) return value;
    return Number(std::clamp(value, -kLargestHalf, kLargestHalf));
}

template<typename Number>
class LayerFile {
public:
    LayerFile(int columns, int rows) : head(columns, rows), width(columns), height(rows) {
        head.compression() = Imf::PIZ_COMPRESSION;
    }

    void add(const Image& image, const std::string& prefix) {
        constexpr Imf::PixelType kType = std::is_same_v<Number, float> ? Imf::FLOAT : Imf::HALF;
        constexpr std::array kNames = {"R", "G", "B"};
        std::vector<Number>& values = planes.emplace_back();
        for (const float value : image.floats)
            values.push_back(stored<Number>(value));
        constexpr std::size_t kPixel = 3 * sizeof(Number);
        for (std::size_t c = 0; c < 3; ++c) {
            const std::string name = prefix + kNames[c];
            head.channels().insert(name, Imf::Channel(kType));
            frame.insert(name, Imf::Slice(kType, reinterpret_cast<char*>(&values[c]), kPixel,
                                          kPixel * to_size(width)));
        }
    }

    std::string encoded() {
        MemoryStream stream;
        {
            Imf::OutputFile file(stream, head);
            file.setFrameBuffer(frame);
            file.writePixels(height);
        }
        return std::move(stream.content);
    }

private:
    Imf::Header head;
    Imf::FrameBuffer frame;
    std::vector<std::vector<Number>> planes;
    int width, height;
};

template<typename Number>
std::string encode(const Image& beauty) {
    LayerFile<Number> file(beauty.width, beauty.height);
    file.add(beauty, "");
    std::set<std::string> taken;
    for (const auto& [path, image] : collected.images)
        if (path != beauty.path && image.width == beauty.width && image.height == beauty.height)
            file.add(image, name_of_layer(path, taken) + '.');
    return file.encoded();
}

} // namespace

void CollectLayers() {
    const std::lock_guard guard(collected.lock);
    collected.images.clear();
    collected.floats = ImageWriting.exr_floats;
    Hooks.image_written = collect;
}

std::string WriteLayers(const std::string& path, const std::string& beauty) {
    const std::lock_guard guard(collected.lock);
    const auto picture = collected.images.find(beauty);
    if (picture == collected.images.end()) return {};
    try {
        return ReplaceFile(path, collected.floats ? encode<float>(picture->second)
                                                  : encode<half>(picture->second));
    } catch (const std::exception& fault) {
        return fault.what();
    }
}

} // namespace mh
