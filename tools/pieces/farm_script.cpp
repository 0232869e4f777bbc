// The command "farm". The script for Slurm is a job array, a task of which renders one piece; the
// first has a job merge the pieces once all tasks are done.
// SPDX-License-Identifier: MIT
#include "pieces/farm_script.h"

#include "captured_report.h"
#include "confine_scene.h"
#include "files.h"
#include "frame/phases.h"
#include "integrate/output_images.h"
#include "output/camera.h"
#include "overrides.h"
#include "pieces/piece.h"
#include "run/state.h"

#include <algorithm>
#include <filesystem>
#include <iostream>

namespace mh {

namespace {

namespace fs = std::filesystem;

// What a script has to know of a scene.
struct Plan {
    std::int64_t frames = 0, seed = 0;
    std::string fault; // why there is nothing to render
};

Plan plan_of(const Arguments& arguments) {
    Plan plan;
    const CapturedReport report;
    OpenScene(arguments.scene + (arguments.scene.ends_with('/') ? "" : "/"));
    PixelRegion region;
    plan.fault = ApplyOverrides(arguments, region);
    if (plan.fault.empty()) {
        PickSeed();
        plan.seed = std::max<std::int64_t>(RendererSettings.seed, 0);
        LimitCamera(*ActiveCamera());
        plan.frames = ActiveCamera()->sample;
    }
    ForgetOutputs();
    Finalize();
    Shutdown();
    return plan;
}

// One word of a shell.
std::string quoted(const std::string& text) {
    std::string word = "'";
    for (const char c : text)
        if (c == '\'')
            word += "'\\''";
        else
            word += c;
    word += '\'';
    return word;
}

std::string absolute(const std::string& path) {
    std::error_code fault;
    const fs::path whole = fs::absolute(path.empty() ? "." : path, fault).lexically_normal();
    return fault ? path : whole.string();
}

std::string own_program() {
    std::error_code fault;
    const fs::path program = fs::read_symlink("/proc/self/exe", fault);
    return fault ? "moonhare" : program.string();
}

std::string options_of(const Arguments& arguments, const Plan& plan) {
    std::string text = "--seed " + std::to_string(plan.seed);
    if (arguments.resolution)
        text += " --resolution " + std::to_string((*arguments.resolution)[0]) + 'x'
                + std::to_string((*arguments.resolution)[1]);
    if (arguments.sample) text += " --sample " + std::to_string(*arguments.sample);
    if (!arguments.mode.empty()) text += " --mode " + arguments.mode;
    if (!arguments.estimator.empty()) text += " --estimator " + arguments.estimator;
    if (arguments.camera) text += " --camera " + std::to_string(*arguments.camera);
    if (arguments.confine) text += " --confine";
    return text;
}

// "0 171 342 512": where pieces begin, and the end of the last.
std::string bounds_of(std::int64_t frames, std::int64_t tasks) {
    std::string text;
    for (std::int64_t i = 0; i <= tasks; ++i) {
        if (i > 0) text += ' ';
        text += std::to_string(frames * i / tasks);
    }
    return text;
}

std::string slurm_script(const Arguments& arguments, const Plan& plan) {
    const std::int64_t tasks = std::min<std::int64_t>(arguments.tasks, plan.frames);
    return R"(#!/bin/bash
# Renders a scene in pieces, each a task of a job array, and merges them. Submit it with sbatch;
# submit it again to go on with pieces that are missing: those that are whole end at once. Options
# of sbatch (--partition, --time, --cpus-per-task) stand above what is said here.
#SBATCH --job-name=moonhare
#SBATCH --array=0-)"
           + std::to_string(tasks - 1) + R"(
#SBATCH --requeue
set -eu
moonhare=${MOONHARE_PROGRAM:-)"
           + quoted(own_program()) + "}\nscene=" + quoted(absolute(arguments.scene))
           + "\noutput=" + quoted(absolute(arguments.output_dir)) + "\nbounds=("
           + bounds_of(plan.frames, tasks) + R"()

pieces=()
for ((i = 0; i + 1 < ${#bounds[@]}; ++i)); do
    pieces+=("$output/pieces/${bounds[i]}-${bounds[i + 1]}.part")
done
task=${SLURM_ARRAY_TASK_ID:?is set by sbatch}
mkdir -p "$output/pieces"

# The merge waits for all tasks. Without one that can still succeed it is dropped.
if [ "$task" = 0 ] && [ "${SLURM_RESTART_COUNT:-0}" = 0 ]; then
    printf -v merge '%q ' "$moonhare" merge "${pieces[@]}" --output-dir "$output"
    sbatch --job-name=moonhare-merge --dependency="afterok:$SLURM_ARRAY_JOB_ID" \
        --kill-on-invalid-dep=yes --wrap "$merge" || echo "to merge, run: $merge" >&2
fi
exec "$moonhare" "$scene" )"
           + options_of(arguments, plan) + R"( --progress plain \
    --threads "${SLURM_CPUS_PER_TASK:-1}" \
    --frames "${bounds[task]}:${bounds[task + 1]}" --partial "${pieces[task]}"
)";
}

} // namespace

int PrintFarmScript(const Arguments& arguments) {
    if (arguments.engine != "slurm") {
        Complain(arguments.engine + " is not a batch system that moonhare knows; use slurm");
        return kWrongUse;
    }
    if (!IsDirectory(arguments.scene)) return kWrongUse;
    ConfineToScene(arguments);
    const Plan plan = plan_of(arguments);
    if (!plan.fault.empty()) {
        Complain(plan.fault + "; run moonhare check " + arguments.scene + "");
        return kSceneFaults;
    }
    std::cout << slurm_script(arguments, plan) << std::flush;
    return std::cout ? kDone : kNotWritten;
}

} // namespace mh
