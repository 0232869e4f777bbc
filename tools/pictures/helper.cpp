// The helper program of "convert" and "diff": decodes one picture by OpenImageIO under limits on
// time and memory and writes it to standard output. It takes a third of a second to start, which
// the program itself is spared, and what a damaged file does to its decoder ends here. usage:
// moonhare-pictures FILE SECONDS BYTES [LAYER]
// SPDX-License-Identifier: MIT
#include "decode/confine.h"
#include "math/at.h"
#include "math/input_file.h"
#include "pictures/picture_stream.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include <OpenImageIO/filesystem.h>
#include <OpenImageIO/imageio.h>
#include <unistd.h>

namespace {

struct Picture {
    mh::PictureHead head;
    std::vector<float> values;
};

// The channels of this name, of the picture itself before those of a layer; -1 for none.
int channel_named(const OIIO::ImageSpec& head, char name) {
    const auto begin = head.channelnames.begin(), end = head.channelnames.end();
    auto found = std::find(begin, end, std::string(1, name));
    if (found == end)
        found = std::find_if(begin, end, [name](const std::string& channel) {
            return channel.ends_with(std::string(".") + name);
        });
    return found == end ? -1 : static_cast<int>(found - begin);
}

// Channels of layers are called LAYER.NAME.
std::string layer_of(const std::string& channel) {
    const std::size_t dot = channel.rfind('.');
    return dot == channel.npos ? std::string() : channel.substr(0, dot);
}

std::set<std::string> layers_of(const OIIO::ImageSpec& head) {
    std::set<std::string> layers;
    for (const std::string& channel : head.channelnames)
        layers.insert(layer_of(channel));
    layers.erase("");
    return layers;
}

// The channels of one layer alone, under their own names; a file without layers stays as it is.
// Empty on success, else why not.
std::string choose_layer(OIIO::ImageSpec& head, const std::string& layer, Picture& picture) {
    const std::set<std::string> layers = layers_of(head);
    if (layer.empty() || layers.empty()) return {};
    if (!layers.contains(layer)) {
        std::string known;
        for (const std::string& name : layers)
            known += (known.empty() ? "" : ", ") + name;
        return "has no layer \"" + layer + "\"; its layers are " + known;
    }
    for (std::string& channel : head.channelnames)
        channel = layer_of(channel) == layer ? channel.substr(layer.size() + 1) : std::string();
    picture.head.is_layer = 1;
    return {};
}

// Red, green and blue, wherever they stand; the first three, or one for all, where names say
// nothing.
std::array<int, 3> channels_of(const OIIO::ImageSpec& head) {
    const std::array<int, 3> named = {channel_named(head, 'R'), channel_named(head, 'G'),
                                      channel_named(head, 'B')};
    if (named[0] >= 0 && named[1] >= 0 && named[2] >= 0) return named;
    const std::array<int, 3> places = {channel_named(head, 'X'), channel_named(head, 'Y'),
                                       channel_named(head, 'Z')};
    if (places[0] >= 0 && places[1] >= 0 && places[2] >= 0) return places;
    const auto first = std::find_if(head.channelnames.begin(), head.channelnames.end(),
                                    [](const std::string& name) { return !name.empty(); });
    if (head.nchannels >= 3 && first == head.channelnames.begin()) return {0, 1, 2};
    const int grey =
        std::max(channel_named(head, 'Y'), static_cast<int>(first - head.channelnames.begin()));
    return {grey, grey, grey};
}

// Floats hold light; whole numbers hold what a display shows, unless the file says otherwise.
bool holds_light(const OIIO::ImageSpec& head) {
    const std::string space = head.get_string_attribute("oiio:ColorSpace");
    return head.format.is_floating_point() || space == "Linear" || space == "linear";
}

// Of files that say so.
float gamma_of(const OIIO::ImageSpec& head) {
    const std::string space = head.get_string_attribute("oiio:ColorSpace");
    return space.starts_with("Gamma") ? head.get_float_attribute("oiio:Gamma", 1.0f) : 1.0f;
}

void keep_colours(const OIIO::ImageSpec& head, const std::vector<float>& all, Picture& picture) {
    const std::array<int, 3> channels = channels_of(head);
    const float gamma = gamma_of(head);
    const auto stride = mh::to_size(head.nchannels);
    for (std::size_t first = 0; first < all.size(); first += stride)
        for (const int channel : channels) {
            const float value = all[first + mh::to_size(channel)];
            picture.values.push_back(gamma == 1.0f ? value : std::pow(value, gamma));
        }
    picture.head.width = head.width;
    picture.head.height = head.height;
    picture.head.is_linear = holds_light(head) || gamma != 1.0f;
}

struct Signature {
    std::string_view bytes;
    const char* format;
};

// Names may lie; where the first bytes say nothing the name's extension decides.
std::string format_of(const std::string& name, std::string_view content) {
    using std::string_view_literals::operator""sv;
    static constexpr Signature kSignatures[] = {
        {"\x89PNG"sv, "png"},     {"\xFF\xD8\xFF"sv, "jpeg"},
        {"v/1\x01"sv, "openexr"}, {"II*\0"sv, "tiff"},
        {"MM\0*"sv, "tiff"},      {"GIF8"sv, "gif"},
        {"BM"sv, "bmp"},          {"#?"sv, "hdr"},
        {"8BPS"sv, "psd"},        {"DDS "sv, "dds"}};
    for (const Signature& signature : kSignatures)
        if (content.starts_with(signature.bytes)) return signature.format;
    return name;
}

// Empty on success, else why not.
std::string decode(const std::string& name, const std::string& content, const std::string& layer,
                   Picture& picture) {
    OIIO::Filesystem::IOMemReader file(content.data(), content.size());
    OIIO::ImageSpec head, wishes;
    wishes["oiio:UnassociatedAlpha"] = 1; // colours as they stand
    const auto input = OIIO::ImageInput::create(format_of(name, content), false, nullptr, &file);
    if (!input || !input->set_ioproxy(&file)) return "its format is not known";
    if (!input->open(name, head, wishes)) return "cannot be decoded: " + input->geterror();
    if (head.width < 1 || head.height < 1 || head.depth > 1 || head.nchannels < 1
        || 1.0 * head.width * head.height * head.nchannels > 4.0 * mh::kMostPicturePixels)
        return "has a size that no picture has";
    if (std::string fault = choose_layer(head, layer, picture); !fault.empty()) return fault;
    std::vector<float> all(mh::grid_size(head.width, head.height) * mh::to_size(head.nchannels));
    if (!input->read_image(0, 0, 0, head.nchannels, OIIO::TypeDesc::FLOAT, all.data()))
        return "is damaged: " + input->geterror();
    keep_colours(head, all, picture);
    return {};
}

bool put(const void* bytes, std::size_t count) {
    return std::fwrite(bytes, 1, count, stdout) == count;
}

bool answer(Picture& picture, std::string fault) {
    std::replace(fault.begin(), fault.end(), '\n', ' ');
    fault.resize(std::min<std::size_t>(fault.size(), mh::kLongestPictureFault));
    picture.head.version = mh::kPictureStream;
    picture.head.fault_bytes = static_cast<std::uint32_t>(fault.size());
    if (!put(&picture.head, sizeof picture.head)) return false;
    return fault.empty() ? put(picture.values.data(), picture.values.size() * sizeof(float))
                         : put(fault.data(), fault.size());
}

} // namespace

int main(int count, char** arguments) {
    if (count != 4 && count != 5) return 2;
    const std::string name = arguments[1];
    mh::InputFile input = mh::OpenInput(name, mh::Origin::user);
    std::string content = input ? mh::ReadRest(input) : std::string();
    OIIO::attribute("threads", 1); // the filter lets none start
    OIIO::attribute("exr_threads", -1);
    if (!mh::Confine(arguments[2], arguments[3])) return 1;
    Picture picture;
    std::string fault;
    try {
        fault = input ? decode(name, content, count == 5 ? arguments[4] : "", picture)
                      : "cannot be read";
    } catch (const std::exception& exception) {
        fault = std::string("cannot be decoded: ") + exception.what();
    }
    const bool written = answer(picture, fault) && std::fflush(stdout) == 0;
    _exit(written ? 0 : 1); // without the decoders' own endings
}
