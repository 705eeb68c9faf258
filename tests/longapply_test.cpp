// Long applies (a switch, a restore, a pair list) find keys through a table of first positions: same answers as a search.
#include <memory>
#include <string>
#include <vector>

#include "ControllerPeer.h"
#include "ModuleTest.h"
#include "hostsim.h"

namespace {

using Peer = ISensorControllerTestPeer;
using Set = std::vector<KeyVal>;
using Strings = std::vector<std::string>;

class LongApplyTest : public testsupport::ModuleTest {
protected:
    void SetUp() override
    {
        ModuleTest::SetUp();
        ctl_ = std::make_unique<ISensorController>();
        Peer::buildTable(*ctl_);
        Peer::curScheme(*ctl_) = 0;
    }
    void TearDown() override { Peer::releaseAll(*ctl_), ModuleTest::TearDown(); }
    // `head`, then unchanged entries up to 20.
    static Set padded(Set head)
    {
        for (u32 key = 9000; head.size() < 20; ++key) head.push_back({key, 0});
        return head;
    }
    Strings apply(Set entries)
    {
        captureStdout([&] { EXPECT_EQ(ctl_->setParameters(entries.data(), (u32)entries.size(), true), 0); });
        Strings lines = hostsim::trace();
        hostsim::clearTrace();
        return lines;
    }
    std::unique_ptr<ISensorController> ctl_;
};

TEST_F(LongApplyTest, FirstEntryOfAKeyDecidesAndARecordedLightTypeCountsAtOnce)
{
    // Key 34 twice in the set in force: its first entry holds the value in force.
    Set inForce = padded({{34, 50}, {2337, 40}});
    inForce.back() = {34, 7};
    Peer::installSets(*ctl_, {inForce, inForce});
    Set entries = inForce;
    entries[1].value = 41;
    entries.back().value = 50;
    EXPECT_EQ(apply(entries), (Strings{"ia ch=0 cmd=2337 opt=0 in=[41] ret=0"}));

    // The intelligent light type, recorded first, drops the infrared key and sends its twin in its place.
    Peer::installSets(*ctl_, std::vector<Set>(2, padded({{224, 0}, {161, 0}, {168, 0}})));
    EXPECT_EQ(apply(padded({{224, 2}, {161, 3}, {168, 4}})),
              (Strings{"ia ch=0 cmd=224 opt=0 in=[2] ret=0", "ia ch=0 cmd=161 opt=0 in=[4] ret=0"}));
}

}  // namespace
