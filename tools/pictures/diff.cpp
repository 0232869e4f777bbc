// The command "diff".
// SPDX-License-Identifier: MIT
#include "files.h"
#include "frame/phases.h"
#include "json_text.h"
#include "pictures/convert.h"
#include "pictures/perceived.h"
#include "pictures/pixels.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <iostream>

namespace mh {

namespace {

constexpr double kDarkest = 0.01; // keeps the relative error of dark pixels finite
constexpr double kDecibels = 10.0;

struct Difference {
    double rmse = 0.0;
    double relative_mse = 0.0; // mean of (a - b)^2 / (b^2 + 0.01)
    double psnr_db = 0.0;      // against the largest value of B, and 1 at least
    double largest = 0.0;
    double flip = 0.0, ssim = 1.0;
    std::int64_t not_finite = 0; // pixels left out
};

bool is_finite_pair(const Vec3& a, const Vec3& b) {
    return is_finite(a) && is_finite(b);
}

Difference difference_of(const Pixels& first, const Pixels& second) {
    Difference result;
    double squares = 0.0, relative = 0.0, count = 0.0, peak = 1.0;
    for (std::size_t i = 0; i < first.values.size(); ++i) {
        const Vec3 &p = first.values[i], &q = second.values[i];
        if (!is_finite_pair(p, q)) {
            ++result.not_finite;
            continue;
        }
        for (const auto& [a, b] : {std::pair<double, double>(p.x, q.x), {p.y, q.y}, {p.z, q.z}}) {
            const double square = (a - b) * (a - b);
            squares += square;
            relative += square / (b * b + kDarkest);
            result.largest = std::max(result.largest, std::fabs(a - b));
            peak = std::max(peak, b);
            ++count;
        }
    }
    result.rmse = std::sqrt(squares / std::max(count, 1.0));
    result.relative_mse = relative / std::max(count, 1.0);
    result.psnr_db = kDecibels * std::log10(peak * peak / (result.rmse * result.rmse));
    result.flip = MeanFlip(first, second);
    result.ssim = MeanSsim(first, second);
    return result;
}

void print_line(const char* name, double value, const char* unit) {
    char line[80] = {};
    std::snprintf(line, sizeof line, "%-20s %.9g%s\n", name, value, unit);
    std::cout << line;
}

void print_text(const Difference& difference) {
    print_line("rmse", difference.rmse, "");
    print_line("relative mse", difference.relative_mse, "");
    print_line("psnr", difference.psnr_db, " dB");
    print_line("largest difference", difference.largest, "");
    print_line("flip", difference.flip, "");
    print_line("ssim", difference.ssim, "");
    print_line("pixels not finite", static_cast<double>(difference.not_finite), "");
}

void print_json(const Difference& difference) {
    std::cout << JsonLine({{"rmse", difference.rmse},
                           {"relative_mse", difference.relative_mse},
                           {"psnr_db", difference.psnr_db},
                           {"largest", difference.largest},
                           {"flip", difference.flip},
                           {"ssim", difference.ssim},
                           {"pixels_not_finite", difference.not_finite}});
}

Pixels absolute_difference(const Pixels& first, const Pixels& second) {
    Pixels result = first;
    for (std::size_t i = 0; i < result.values.size(); ++i) {
        const Vec3 d = first.values[i] - second.values[i];
        result.values[i] = {std::fabs(d.x), std::fabs(d.y), std::fabs(d.z)};
    }
    return result;
}

int fail(int status, const std::string& reason) {
    Complain(reason);
    return status;
}

// NaN pixels are worse than any difference: they never pass a limit.
bool is_above(const Difference& difference, double limit) {
    return !(difference.rmse <= limit) || difference.not_finite > 0;
}

int compare_started(const Arguments& arguments) {
    Pixels first, second;
    for (const auto& [path, pixels] :
         {std::pair(&arguments.first_image, &first), std::pair(&arguments.second_image, &second)}) {
        const std::string fault = ReadPixels(*path, *pixels, arguments.layer);
        if (!fault.empty()) return fail(kWrongUse, fault);
        MakeLinear(*pixels);
    }
    if (const std::string fault = FaultOfLayer(arguments, first); !fault.empty())
        return fail(kWrongUse, fault);
    if (first.width != second.width || first.height != second.height)
        return fail(kWrongUse, "the images differ in size: " + std::to_string(first.width) + 'x'
                                   + std::to_string(first.height) + " and "
                                   + std::to_string(second.width) + 'x'
                                   + std::to_string(second.height));
    const Difference difference = difference_of(first, second);
    if (arguments.json)
        print_json(difference);
    else
        print_text(difference);
    std::cout << std::flush;
    const std::string& image = arguments.difference_image;
    const std::string fault =
        image.empty() ? std::string() : WritePixels(image, absolute_difference(first, second));
    if (!fault.empty()) return fail(kNotWritten, fault);
    return arguments.fail_above && is_above(difference, *arguments.fail_above) ? kSceneFaults
                                                                               : kDone;
}

} // namespace

int CompareImages(const Arguments& arguments) {
    Startup();
    const int status = compare_started(arguments);
    Finalize();
    Shutdown();
    return status;
}

} // namespace mh
