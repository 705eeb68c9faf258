// Host threads and the sensor thread working one channel at once: no deadlock, no race, no lost key.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <string>
#include <thread>
#include <vector>

#include "CameraTest.h"
#include "ControllerPeer.h"

namespace {

using Peer = ISensorControllerTestPeer;

class StressTest : public testsupport::CameraTest {};

TEST_F(StressTest, HostOperationsAndSchemeSwitchesRunTogether)
{
    install("bullet");
    setDebugLevel(-1);  // reports would only slow the run down
    hostsim::setAutoAdvance(true);  // every pause of the sensor thread moves the clock a second
    auto c = start(1);
    const std::vector<u32> factoryKeys = Peer::keys(*c, 4);

    // Time mode with two short periods, so the thread keeps switching.
    ASSERT_EQ(c->setParameter(8000, 1, true), 0);
    for (int s = 1; s <= 2; ++s) {
        ASSERT_TRUE(c->setParamScheme(s));
        ASSERT_EQ(c->setParameter(8001, 12, true), 0);
        ASSERT_EQ(c->setParameter(8002, s == 1 ? 0 : 1, true), 0);
        ASSERT_EQ(c->setParameter(8003, 12, true), 0);
        ASSERT_EQ(c->setParameter(8004, s == 1 ? 1 : 2, true), 0);
    }

    std::atomic<bool> stop(false);
    auto host = [&](int seed) {
        int n = 0;
        while (!stop) {
            int value = 0;
            std::string text;
            switch ((seed + n++) % 8) {
            case 0: c->setParameter(34, n % 100, true); break;
            case 1: c->getParameter(2337, value); break;
            case 2: c->setParamScheme(n % 5); break;
            case 3: c->setParamMode(n % 2); break;
            case 4: c->flush(); break;
            case 5: c->getAllParameters(text); break;
            case 6: text = c->getUIStyleFile(); break;
            default: {
                s32 one = 1;
                c->doIoCrtl(8104, 0, &one);
                hostsim::SimIsp::instance().setDayNight(0, n % 2);
            }
            }
        }
    };
    auto run = std::async(std::launch::async, [&] {
        std::vector<std::thread> threads;
        for (int t = 0; t < 4; ++t) threads.emplace_back(host, t * 2);
        for (int r = 0; r < 2; ++r) {
            std::this_thread::sleep_for(std::chrono::milliseconds(300));
            c->resetParameters();
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        stop = true;
        for (std::thread& t : threads) t.join();
        c->uinit();
    });
    ASSERT_EQ(run.wait_for(std::chrono::seconds(90)), std::future_status::ready) << "deadlock";

    // Back up: every scheme read from its file holds exactly the factory keys, in order.
    c->init(config(1));
    for (u32 s = 0; s <= 4; ++s) {
        EXPECT_EQ(Peer::keys(*c, s), factoryKeys) << "scheme " << s;
    }
}

TEST_F(StressTest, SixteenChannelsEachWithItsSensorThread)
{
    install("bullet");
    setDebugLevel(-1);
    hostsim::setAutoAdvance(true);
    constexpr int kChannels = 16;
    std::vector<testsupport::Started> channels;
    for (int ch = 1; ch <= kChannels; ++ch) channels.push_back(start(ch));
    hostsim::SimIsp::instance().clearCalls();

    std::atomic<bool> stop(false);
    auto host = [&](int ch) {
        ISensorController& c = *channels[ch - 1];
        for (int n = 0; !stop; ++n) {
            int value = 0;
            std::string text;
            switch (n % 4) {
            case 0: c.setParameter(34, (ch * 7 + n) % 100, true); break;
            case 1: c.getParameter(2337, value); break;
            case 2: c.setParamScheme(n % 4); break;
            default: c.getAllParameters(text);
            }
        }
    };
    auto run = std::async(std::launch::async, [&] {
        std::vector<std::thread> threads;
        for (int ch = 1; ch <= kChannels; ++ch) threads.emplace_back(host, ch);
        std::this_thread::sleep_for(std::chrono::milliseconds(500));
        stop = true;
        for (std::thread& t : threads) t.join();
        for (auto& c : channels) Peer::thread(*c)->stop();
    });
    ASSERT_EQ(run.wait_for(std::chrono::seconds(90)), std::future_status::ready) << "deadlock";

    // Every channel kept whole sets and spoke to its own sensor only.
    const std::vector<u32> factoryKeys = Peer::keys(*channels[0], 4);
    for (auto& c : channels) {
        for (u32 s = 0; s <= 4; ++s) {
            EXPECT_EQ(Peer::keys(*c, s), factoryKeys) << "channel " << Peer::cameraId(*c) << " scheme " << s;
        }
    }
    std::vector<int> calls(kChannels, 0);
    for (const hostsim::IspCall& call : hostsim::SimIsp::instance().calls()) {
        ASSERT_GE(call.channel, 0);
        ASSERT_LT(call.channel, kChannels);
        ++calls[call.channel];
    }
    for (int ch = 1; ch <= kChannels; ++ch) EXPECT_GT(calls[ch - 1], 0) << "channel " << ch;
}

}  // namespace
