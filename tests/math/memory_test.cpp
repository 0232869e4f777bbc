// What the machine and the control groups of both versions leave to the process.
// SPDX-License-Identifier: MIT
#include "math/memory.h"

#include "math/control_group.h"
#include "support/fresh_scene.h"

#include <cmath>

#include <gtest/gtest.h>

namespace mh::test {
namespace {

constexpr double kGigabyte = 1e9;

TEST(Memory, IsRefusedOnlyWhereItIsMissing) {
    const std::tuple<double, double, double> cases[] = {// total, available, what just fits
                                                        {24, 1.4, 1.1},
                                                        {512, 30, 29.7},
                                                        {1, 0.5, 0.43},
                                                        {24, 0, 0.016}};
    for (const auto& [total, available, most] : cases) {
        const FakeMachine machine(total * kGigabyte, available * kGigabyte);
        EXPECT_TRUE(FitsMemory(most * kGigabyte)) << total;
        EXPECT_FALSE(FitsMemory((most + 0.05) * kGigabyte)) << total;
    }
}

TEST(ControlGroups, OfBothVersionsLimitMemoryThatIsNotFileCache) {
    const FakeMachine machine(64 * kGigabyte, 60 * kGigabyte);
    const TemporaryFolder& files = machine.folder;
    files.write("proc/self/cgroup", "0::/a/b\n");
    files.write("sys/fs/cgroup/a/b/memory.max", "max\n");
    files.write("sys/fs/cgroup/a/memory.max", "4000000000\n");
    files.write("sys/fs/cgroup/a/memory.current", "3900000000\n");
    files.write("sys/fs/cgroup/a/memory.stat",
                "anon 900000000\ninactive_file 2000000000\nactive_file 1000000000\n");
    EXPECT_EQ(MachineMemory(), 4 * kGigabyte);
    EXPECT_EQ(AvailableMemory(), 3.1 * kGigabyte);
    // In a container the files of its group are those of the root.
    files.write("proc/self/cgroup", "5:cpu,cpuacct:/docker/x\n4:memory:/docker/x\n0::/docker/x\n");
    files.write("sys/fs/cgroup/memory/memory.limit_in_bytes", "2000000000\n");
    files.write("sys/fs/cgroup/memory/memory.usage_in_bytes", "1800000000\n");
    files.write("sys/fs/cgroup/memory/memory.stat",
                "inactive_file 5\ntotal_inactive_file 1000000000\ntotal_active_file 0\n");
    EXPECT_EQ(MachineMemory(), 2 * kGigabyte);
    EXPECT_EQ(AvailableMemory(), 1.2 * kGigabyte);
}

TEST(ControlGroups, OfBothVersionsLimitProcessors) {
    const FakeMachine machine(kGigabyte, kGigabyte);
    const TemporaryFolder& files = machine.folder;
    EXPECT_TRUE(std::isinf(ProcessorQuota()));
    files.write("proc/self/cgroup", "5:cpu,cpuacct:/job/step\n0::/a\n");
    files.write("sys/fs/cgroup/cpu,cpuacct/job/step/cpu.cfs_quota_us", "-1\n");
    files.write("sys/fs/cgroup/cpu,cpuacct/job/step/cpu.cfs_period_us", "100000\n");
    files.write("sys/fs/cgroup/a/cpu.max", "max 100000\n");
    EXPECT_TRUE(std::isinf(ProcessorQuota()));
    files.write("sys/fs/cgroup/cpu.max", "350000 100000\n");
    EXPECT_EQ(ProcessorQuota(), 3.5);
    files.write("sys/fs/cgroup/cpu/job/cpu.cfs_quota_us", "150000\n");
    files.write("sys/fs/cgroup/cpu/job/cpu.cfs_period_us", "100000\n");
    EXPECT_EQ(ProcessorQuota(), 1.5);
}

} // namespace
} // namespace mh::test
