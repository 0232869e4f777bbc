// The calls of Open Image Denoise, of its versions 1 and 2.
// SPDX-License-Identifier: MIT
#include "denoise/open_image_denoise.h"

#include "math/at.h"

#ifdef MOONHARE_OPEN_IMAGE_DENOISE

#include <memory>
#include <type_traits>

#include <OpenImageDenoise/oidn.h>

namespace mh {

namespace {

struct Release {
    void operator()(OIDNDevice device) const { oidnReleaseDevice(device); }

    void operator()(OIDNFilter filter) const { oidnReleaseFilter(filter); }
};

template<typename Handle>
using Owned = std::unique_ptr<std::remove_pointer_t<Handle>, Release>;

std::vector<float> mean_of(const NoisyImage& feature) {
    std::vector<float> mean(feature.half[0].begin(), feature.half[0].end());
    for (std::size_t i = 0; i < mean.size(); ++i)
        mean[i] = 0.5f * (mean[i] + feature.half[1][i]);
    return mean;
}

void set_hdr(OIDNFilter filter) {
#if OIDN_VERSION_MAJOR >= 2
    oidnSetFilterBool(filter, "hdr", true);
#else
    oidnSetFilter1b(filter, "hdr", true);
#endif
}

} // namespace

bool HasOpenImageDenoise() {
    return true;
}

// On the processor, which works in our memory.
std::string FilterByNetwork(const DenoiseInput& input, std::size_t half,
                            std::vector<float>& filtered) {
    const Owned<OIDNDevice> device(oidnNewDevice(OIDN_DEVICE_TYPE_CPU));
    if (device == nullptr) return "it has no device for this processor";
    oidnCommitDevice(device.get());
    const Owned<OIDNFilter> filter(oidnNewFilter(device.get(), "RT"));
    std::vector<float> colour(input.picture.half[half].begin(), input.picture.half[half].end());
    std::vector<float> albedo = mean_of(input.albedo), normal = mean_of(input.normal);
    filtered.resize(colour.size());
    const auto give = [&](const char* name, std::vector<float>& pixels) {
        oidnSetSharedFilterImage(filter.get(), name, pixels.data(), OIDN_FORMAT_FLOAT3,
                                 to_size(input.width), to_size(input.height), 0, 0, 0);
    };
    give("color", colour);
    give("albedo", albedo);
    give("normal", normal);
    give("output", filtered);
    set_hdr(filter.get());
    oidnCommitFilter(filter.get());
    oidnExecuteFilter(filter.get());
    const char* message = nullptr;
    const bool failed = oidnGetDeviceError(device.get(), &message) != OIDN_ERROR_NONE;
    return failed ? std::string(message) : std::string();
}

} // namespace mh

#else

namespace mh {

bool HasOpenImageDenoise() {
    return false;
}

std::string FilterByNetwork(const DenoiseInput&, std::size_t, std::vector<float>&) {
    return "this build is without it";
}

} // namespace mh

#endif
