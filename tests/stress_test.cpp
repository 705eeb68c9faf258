// Host threads and sensor threads working at once: no deadlock, no race (run under ThreadSanitizer), and no
// key or value lost, shifted or taken from another channel.
#include <atomic>
#include <chrono>
#include <future>
#include <thread>

#include "CameraTest.h"

namespace {

using namespace testsupport;

class StressTest : public CameraTest {
protected:
    void SetUp() override
    {
        CameraTest::SetUp();
        install("bullet");
        setDebugLevel(-1);              // reports would only slow the run down
        hostsim::setAutoAdvance(true);  // every pause of a sensor thread moves the clock a second
    }
    // Runs `host(thread, pass)` on each of `threads` threads until `main` returns, then `last`.
    static void hammer(int threads, const std::function<void(int, int)>& host, const std::function<void()>& main,
                       const std::function<void()>& last)
    {
        std::atomic<bool> stop(false);
        auto run = std::async(std::launch::async, [&] {
            std::vector<std::thread> pool;
            for (int t = 0; t < threads; ++t) {
                pool.emplace_back([&, t] {
                    for (int n = 0; !stop; ++n) host(t, n);
                });
            }
            main();
            stop = true;
            for (std::thread& t : pool) t.join();
            last();
        });
        ASSERT_EQ(run.wait_for(std::chrono::seconds(90)), std::future_status::ready) << "deadlock";
    }
    // Every set holds the factory keys in order and the factory values, but for brightness, which holds the
    // factory value or one that `wrote` accepts.
    static void expectWhole(ISensorController& c, const std::vector<KeyVal>& factory,
                            const std::function<bool(s32)>& wrote)
    {
        for (u32 s = 0; s <= Peer::sysConf(c).nSchemeSum; ++s) {
            const std::vector<KeyVal> set = Peer::set(c, s);
            ASSERT_EQ(set.size(), factory.size());
            for (std::size_t i = 0; i < set.size(); ++i) {
                SCOPED_TRACE(testing::Message() << "channel " << Peer::cameraId(c) << " scheme " << s << " key "
                                                << factory[i].key);
                EXPECT_EQ(set[i].key, factory[i].key);
                EXPECT_TRUE(set[i].value == factory[i].value || (set[i].key == 34 && wrote(set[i].value)));
            }
        }
    }
};

TEST_F(StressTest, HostOperationsSchemeSwitchesAndResetsOnOneChannel)
{
    auto c = start(1);
    const std::vector<KeyVal> factory = Peer::set(*c, 4);
    // Time mode with two short periods, so the thread keeps switching (until a reset brings mode 0 back).
    ASSERT_EQ(c->setParameter(8000, 1, true), 0);
    for (int s = 1; s <= 2; ++s) {
        ASSERT_TRUE(c->setParamScheme(s));
        for (const auto& [key, value] : {std::pair<int, int>{8001, 12}, {8002, s - 1}, {8003, 12}, {8004, s}}) {
            ASSERT_EQ(c->setParameter(key, value, true), 0);
        }
    }
    const auto host = [&](int t, int n) {
        int value = 0;
        std::string text;
        switch ((2 * t + n) % 8) {
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
    };
    const auto resets = [&] {
        for (int r = 0; r < 2; ++r) {
            std::this_thread::sleep_for(std::chrono::milliseconds(300));
            c->resetParameters();
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
    };
    hammer(4, host, resets, [&] { c->uinit(); });
    // Back up from the files: the last reset left factory values, and only brightness was written since.
    c->init(config(1));
    expectWhole(*c, factory, [](s32 v) { return v >= 0 && v < 100; });
}

TEST_F(StressTest, SixteenChannelsEachWithItsSensorThread)
{
    constexpr int kChannels = 16;
    std::vector<Started> channels;
    std::vector<std::vector<KeyVal>> factory;  // each channel's own: the library's defaults differ
    for (int ch = 1; ch <= kChannels; ++ch) {
        channels.push_back(start(ch));
        factory.push_back(Peer::set(*channels.back(), 4));
    }
    // Each channel writes brightness values that name it: channel * 1000 + n.
    const auto host = [&](int t, int n) {
        ISensorController& c = *channels[t];
        int value = 0;
        std::string text;
        switch (n % 4) {
        case 0: c.setParameter(34, (t + 1) * 1000 + n % 1000, true); break;
        case 1: c.getParameter(2337, value); break;
        case 2: c.setParamScheme(n % 4); break;
        default: c.getAllParameters(text);
        }
    };
    hammer(kChannels, host, [] { std::this_thread::sleep_for(std::chrono::milliseconds(500)); },
           [&] { for (auto& c : channels) Peer::thread(*c)->stop(); });
    for (int ch = 1; ch <= kChannels; ++ch) {
        expectWhole(*channels[ch - 1], factory[ch - 1], [ch](s32 v) { return v / 1000 == ch; });
        EXPECT_EQ(hostsim::SimIsp::instance().value(ch - 1, 34) / 1000, ch) << "channel " << ch;
    }
}

}  // namespace
