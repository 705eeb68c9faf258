// Value cache: single entries of the parameter sets, by scheme index and key.
#include "ModuleTest.h"


namespace {

using CacheTest = testsupport::ModuleTest;

TEST_F(CacheTest, FirstEntryOfTheKeyAndForcedWritesStopAtTheFactorySet)
{
    ISensorController c;
    auto values = [&] {
        std::vector<s32> out;
        for (u32 s = 0; s < 3; ++s)
            for (const KeyVal& kv : Peer::set(c, s)) out.push_back(kv.value);
        return out;
    };
    u32 v = 99;
    EXPECT_EQ(c.setKeyValToCache(0, 34, 1, true), -1);
    EXPECT_EQ(c.getKeyValFromCache(0, 34, v), -1);
    // Two user schemes and the factory set; key 34 appears twice in each.
    Peer::installSets(c, {{{34, 50}, {2337, 60}, {34, 51}}, {{34, 40}, {2337, -5}, {34, 41}},
                          {{34, 10}, {2337, 20}, {34, 11}}});
    EXPECT_EQ((std::vector<int>{c.setKeyValToCache(1, 34, 45, false), c.setKeyValToCache(0, 2337, (u32)-3, false),
                                c.setKeyValToCache(0, 96, 1, false), c.setKeyValToCache(2, 34, 1, false),
                                c.setKeyValToCache(2, 2337, 21, true), c.setKeyValToCache(3, 34, 1, true)}),
              (std::vector<int>{0, 1, -1, -2, 1, -1}));
    EXPECT_EQ(values(), (std::vector<s32>{50, -3, 51, 45, -5, 41, 10, 21, 11}));

    EXPECT_EQ(c.getKeyValFromCache(1, 96, v), -1);
    setDebugLevel(6);
    EXPECT_EQ(captureStdout([&] {
                  EXPECT_EQ(c.getKeyValFromCache(3, 34, v), -1);
                  EXPECT_EQ(c.getKeyValFromCache(static_cast<u32>(-1), 34, v), -1);
              }),
              testsupport::colorPrefix(0) + "can not find val, invalid sheme(3) \n" + testsupport::kColorEnd +
                  testsupport::colorPrefix(0) + "can not find val, invalid sheme(-1) \n" + testsupport::kColorEnd);
    EXPECT_EQ(v, 99u);
    EXPECT_EQ(c.getKeyValFromCache(1, 34, v), 0);
    EXPECT_EQ(v, 45u);

    // During a switch the values in force are still those of the scheme before.
    Peer::curScheme(c) = 0;
    Peer::lastScheme(c) = 1;
    EXPECT_TRUE(c.isKeyValSame(KeyVal{34, 50}));
    EXPECT_FALSE(c.isKeyValSame(KeyVal{34, 51}));
    EXPECT_FALSE(c.isKeyValSame(KeyVal{96, 0}));
    Peer::setFlags(c, Peer::kSwitching);
    EXPECT_TRUE(c.isKeyValSame(KeyVal{2337, -5}));
    EXPECT_FALSE(c.isKeyValSame(KeyVal{34, 50}));
    Peer::releaseAll(c);
}

}  // namespace
