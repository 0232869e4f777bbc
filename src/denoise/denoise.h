// The denoiser: a picture becomes what first-order regressions on its features say of it
// [Bitterli16], as far as that is nearer to the truth than the picture itself. Runs after
// rendering, on pictures alone; takes 250 bytes a pixel.
// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstddef>
#include <span>
#include <string>
#include <vector>

namespace mh {

// Pixels row by row, channels interleaved. The halves are means over two halves of the samples, the
// picture that of both; where there are none, both are the picture.
struct NoisyImage {
    int channels = 0; // 3; 1 of the depth; 0 where there is none
    std::array<std::span<const float>, 2> half;
};

bool HasHalves(const NoisyImage& picture);

// No value is infinite or NaN.
struct DenoiseInput {
    int width = 0, height = 0;
    NoisyImage picture, albedo, normal, depth;
    // What light samples bring to the first rough surface, and sky that is seen: no part of the
    // picture, but of the result. Shadows draw its detail and leave it little noise, most of which
    // comes by bounces; each is filtered with windows of its own. The edges of lamps, where noise
    // is largest, would hide how little of it there is beside them: lamps stay in the picture.
    NoisyImage direct;
    std::span<const float>
        variance; // of the picture, a value a pixel, sum over its channels; where
                  // it is empty the halves tell, or the picture's roughness
    // Of the direct light, or of the picture where that is apart from no light, three channels: the
    // variance as it would be if frames did not depend on each other; empty for halves alone.
    std::span<const float> spread;
    std::span<const float> frames;             // pixels with 0 are left as they are; empty for none
    std::vector<std::span<const float>> parts; // of the picture, as the light of one lamp: what the
                                               // picture's windows make of them
};

struct DenoiseOutput {
    std::vector<float> picture;
    std::vector<float> error; // expected standard error of a channel, a value a pixel
    std::vector<std::vector<float>> parts;
    std::string fault; // of Open Image Denoise, in whose place our own filter was used
};

DenoiseOutput Denoise(const DenoiseInput& input);

// Whether pictures are filtered by the network of Open Image Denoise, where the build has it, or by
// our own filter. Both are measured and mixed in the same way; parts are always filtered by ours.
bool HasOpenImageDenoise();
void UseOpenImageDenoise(bool network);

// Which kernels the filter uses: those for AVX2 where there are any, unless told otherwise.
void UseVectorDenoiser(bool vector);

} // namespace mh
