// What the module tests take from the simulated host without noticing if it broke: the root holds every
// write, open faults hit the direction they name, locks count their waits and held threads stay still.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "GThread.h"
#include "PLFile.h"
#include "PLMutex.h"
#include "ModuleTest.h"
#include "hostsim.h"
#include "sy_system.h"

namespace {

using HostSim = testsupport::HostTest;
using Strings = std::vector<std::string>;

TEST_F(HostSim, WritesStayUnderTheRootAndOpenFaultsHitOneDirection)
{
    EXPECT_EQ(hostsim::mapPath("/../../mnt/./a/../x"), rootDir() + "/mnt/x");
    EXPECT_EQ(sy_system("touch /../../t; echo a >/s", 5), 0);
    EXPECT_EQ(testsupport::listDir("/"), (Strings{"s", "t"}));
    // A test of an unreadable file relies on the file still being writable, and the other way round.
    PLFile file;
    hostsim::setOpenFault("/mnt/../s", hostsim::kFailRead);
    EXPECT_FALSE(file.open("/s", PLFile::modeRead));
    EXPECT_TRUE(file.open("/s", PLFile::modeWrite | PLFile::modeTruncate));
    hostsim::setOpenFault("/s", hostsim::kFailWrite);
    EXPECT_TRUE(file.open("/s", PLFile::modeRead));
    EXPECT_FALSE(file.open("/s", PLFile::modeWrite | PLFile::modeTruncate));
}

TEST_F(HostSim, LocksRefuseTheirOwnerAndCountOnlyTheCallsThatWaited)
{
    PLMutex mutex;
    const std::uint64_t before = hostsim::lockWaits();
    ASSERT_TRUE(mutex.Lock(__FILE__, 1));
    EXPECT_FALSE(mutex.TryLock(__FILE__, 2));
    testing::internal::CaptureStderr();
    EXPECT_FALSE(mutex.Lock("here.cpp", 42));
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "PLMutex: relock by owner at here.cpp:42\n");
    EXPECT_EQ(hostsim::lockWaits(), before + 1);
    std::thread waiter([&] { mutex.Lock(__FILE__, 3), mutex.Unlock(__FILE__, 4); });
    while (hostsim::lockWaits() == before + 1) std::this_thread::yield();
    EXPECT_TRUE(mutex.Unlock(__FILE__, 5));
    waiter.join();
    EXPECT_EQ(hostsim::lockWaits(), before + 2);
}

struct Counter {
    std::atomic<int> passes{0}, hooks{0};
    int pass() { return ++passes; }
    int hook() { return ++hooks; }
};

TEST_F(HostSim, AHeldThreadRunsNoPassButItsHooks)
{
    Counter n;
    hostsim::setThreadsHeld(true);
    GThread thread(function<int>(bind_funcobj0(&n, &Counter::pass)), "held",
                   function<int>(bind_funcobj0(&n, &Counter::hook)), function<int>(bind_funcobj0(&n, &Counter::hook)));
    ASSERT_TRUE(thread.start());
    EXPECT_TRUE(thread.stop());
    hostsim::setThreadsHeld(false);
    EXPECT_EQ(n.passes.load(), 0);
    EXPECT_EQ(n.hooks.load(), 2);
}

}  // namespace
