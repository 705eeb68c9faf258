// Power cuts at every step of a save, a first start, a factory reset and an upgrade; and what wears the flash.
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "CameraTest.h"
#include "ControllerPeer.h"
#include "PLFile.h"
#include "SensorFile.h"
#include "sy_system.h"

namespace {

using hostsim::PowerLoss;
using Peer = ISensorControllerTestPeer;
using Sets = std::vector<std::string>;  // per scheme, the bytes of its file
using Names = std::vector<std::string>;

const int kSchemes = 2;  // the bullet camera set to two: each scheme file goes the same way
const u32 kBrightness = 34;
const char* const kConfigDir = "/mnt/mtd/code/config_file";

std::string schemePath(int i) { return std::string(kConfigDir) + "/sensor1_" + std::to_string(i) + ".cfg"; }

// `set` with its brightness entry changed.
std::string withBrightness(std::string set, s32 value)
{
    for (std::size_t at = 0; at + sizeof(KeyVal) <= set.size(); at += sizeof(KeyVal)) {
        KeyVal kv;
        std::memcpy(&kv, &set[at], sizeof kv);
        if (kv.key == kBrightness) kv.value = value;
        std::memcpy(&set[at], &kv, sizeof kv);
    }
    return set;
}

using FlashTest = testsupport::HostTest;

TEST_F(FlashTest, ACutKeepsWhatWasSyncedAndWhatItsLossLetsThrough)
{
    // A delete through the shell (step 1), then "f" replaced (steps 2 to 5:
    // write, sync, rename, directory sync) or rewritten in place (step 2).
    // The cut's step (0: none), then "f" after the reboot and whether the deleted file stayed deleted.
    struct Case { bool atomic; std::uint64_t cut; PowerLoss loss; std::string f; bool gone; };
    const Case cases[] = {
        {true, 1, PowerLoss::KeepUnsynced, "old", false}, {true, 2, PowerLoss::DropUnsynced, "old", false},
        {true, 2, PowerLoss::KeepUnsynced, "old", true},  {true, 4, PowerLoss::TearUnsynced, "old", true},
        {true, 5, PowerLoss::DropUnsynced, "old", false}, {true, 5, PowerLoss::TearUnsynced, "new!", true},
        {true, 0, PowerLoss::DropUnsynced, "new!", true}, {false, 0, PowerLoss::DropUnsynced, "old", false},
        {false, 0, PowerLoss::TearUnsynced, "ne", true},  {false, 0, PowerLoss::KeepUnsynced, "new!", true},
    };
    for (const Case& k : cases) {
        SCOPED_TRACE(std::to_string(k.cut) + (k.atomic ? " replaced, loss " : " in place, loss ") +
                     std::to_string(static_cast<int>(k.loss)));
        testsupport::writeFile("/mnt/mtd/f", "old");
        testsupport::writeFile("/mnt/mtd/g", "g");
        testsupport::writeFile("/tmp/t", "t");
        hostsim::reboot(PowerLoss::KeepUnsynced);
        hostsim::setAtomicCommit(k.atomic);
        const std::uint64_t first = hostsim::flashSteps();
        hostsim::setPowerCut(k.cut == 0 ? 0 : first + k.cut);
        sy_system("rm /mnt/mtd/g", 5);
        PLFile file;
        ASSERT_TRUE(file.open("/mnt/mtd/f", PLFile::modeWrite | PLFile::modeTruncate));
        file.write(const_cast<char*>("new!"), 4);
        file.close();
        EXPECT_EQ(hostsim::flashSteps() - first, k.atomic ? 5u : 2u);
        hostsim::reboot(k.loss);
        EXPECT_EQ(testsupport::readFile("/mnt/mtd/f"), k.f);
        EXPECT_EQ(testsupport::listDir("/mnt/mtd"), (k.gone ? Names{"f"} : Names{"f", "g"}));
        EXPECT_EQ(testsupport::listDir("/tmp"), Names{});
    }
}

class CrashTest : public testsupport::CameraTest {
protected:
    struct Row {
        const char* name;
        u32 version;  // on the flash before: 8 with the user's sets, 7 with an older firmware's, 0 none
        std::function<void()> operation;  // from the channel's start on, as after power-on
        Sets before, after;  // what each scheme may hold at the next start
        bool mayDiscard;     // no user value at stake: the next start may delete the files
        std::uint64_t steps, inPlaceSteps;
        std::size_t inPlaceLosses;  // cuts (of both kinds) after which the in-place rewrite lost something
    };

    void SetUp() override
    {
        CameraTest::SetUp();
        install("bullet");
        hostsim::setThreadsHeld(true);  // a pass runs only when a test calls it
        configure_ = config(1);
        std::string detail = configure_.getDetail();
        configure_.setDetail(detail.replace(detail.find("max_scheme=4"), 12, "max_scheme=2"));
        captureStdout([&] { start(); });
        factory_ = Sets(kSchemes, testsupport::readFile(schemePath(0)));
        for (int i = 0; i < kSchemes; ++i) user_.push_back(withBrightness(factory_[i], 60 + i));
    }
    void TearDown() override
    {
        hostsim::setThreadsHeld(false);
        CameraTest::TearDown();
    }

    testsupport::Started start() { return CameraTest::start(1, configure_); }

    void layOut(u32 version)
    {
        hostsim::reboot(PowerLoss::KeepUnsynced);  // what the files hold from here on is durable
        for (int i = 0; i < kSchemes; ++i) testsupport::removeFile(schemePath(i));
        testsupport::removeFile(SENSOR_VERSION_FILE);
        if (version == 0) return;
        for (int i = 0; i < kSchemes; ++i) testsupport::writeFile(schemePath(i), user_[i]);
        testsupport::writeFile(SENSOR_VERSION_FILE, std::string(reinterpret_cast<const char*>(&version), 4));
    }

    // Runs the row's operation with the power failing before step `cut` (0:
    // never), reboots and starts the channel again. Answers what came back
    // wrong; empty when nothing did.
    std::string crash(const Row& row, std::uint64_t cut, PowerLoss loss, std::uint64_t* steps = nullptr)
    {
        layOut(row.version);
        const std::uint64_t first = hostsim::flashSteps();
        hostsim::setPowerCut(cut == 0 ? 0 : first + cut);
        captureStdout(row.operation);
        if (steps != nullptr) *steps = hostsim::flashSteps() - first;
        hostsim::reboot(loss);

        hostsim::clearTrace();
        std::string wrong;
        captureStdout([&] {
            testsupport::Started c = start();
            for (int i = 0; i < kSchemes; ++i) {
                const std::string got(reinterpret_cast<const char*>(Peer::userKeyVal(*c)[i]),
                                      Peer::keyValSum(*c) * sizeof(KeyVal));
                // Without a cut the operation must have done its work.
                if (got != row.after[i] && (cut == 0 || got != row.before[i])) wrong += " scheme " + std::to_string(i);
            }
        });
        if (!row.mayDiscard && !traced("shell ").empty()) wrong += " discarded";
        for (const std::string& name : testsupport::listDir(kConfigDir)) {
            if (name.find(".tmp") != std::string::npos) wrong += " " + name;
        }
        return wrong;
    }

    ModuleConfigure configure_;
    Sets factory_, user_;
};

TEST_F(CrashTest, EveryCutLeavesEachSchemeOldOrNewAndTheVersionCheckNeverWipesSavedSets)
{
    Sets saved = user_;
    saved[0] = withBrightness(user_[0], 77);
    // Steps of a replacement: write, sync, rename, directory sync; the deletes
    // are one step each. In place, a start rewrites the version file unsynced,
    // and a torn one discards every scheme at the next start.
    const Row rows[] = {
        {"a start, then a flush of a changed brightness", 8,
         [&] {
             testsupport::Started c = start();
             c->setParameter(kBrightness, 77, true);
             c->flush();
         },
         user_, saved, false, 4, 2, 3},
        {"a first start", 0, [&] { start(); }, factory_, factory_, true, 12, 3, 0},
        {"a start, then a factory reset", 8, [&] { start()->resetParameters(); }, user_, factory_, false, 10, 6, 7},
        // The older sets are discarded whether the cut comes before the new version or not.
        {"an upgrade from version 7", 7, [&] { start(); }, factory_, factory_, true, 14, 5, 0},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        for (bool atomic : {true, false}) {
            hostsim::setAtomicCommit(atomic);
            // Once a replacement has returned, it is on the flash for good.
            std::uint64_t steps = 0;
            EXPECT_EQ(crash(row, 0, atomic ? PowerLoss::DropUnsynced : PowerLoss::KeepUnsynced, &steps), "");
            EXPECT_EQ(steps, atomic ? row.steps : row.inPlaceSteps);
            std::vector<std::string> lost;
            for (std::uint64_t cut = 1; cut <= steps + 1; ++cut) {
                for (PowerLoss loss : {PowerLoss::DropUnsynced, PowerLoss::TearUnsynced}) {
                    const std::string wrong = crash(row, cut, loss);
                    const char* kind = loss == PowerLoss::DropUnsynced ? " drop:" : " tear:";
                    if (!wrong.empty()) lost.push_back("cut " + std::to_string(cut) + kind + wrong);
                }
            }
            EXPECT_EQ(lost.size(), atomic ? 0u : row.inPlaceLosses)
                << (atomic ? "replaced" : "in place") << testing::PrintToString(lost);
        }
    }
}

TEST_F(CrashTest, OnlyAChangedSetReachesTheFlash)
{
    // inPlaceWrites -1: writes no file either way, not run again.
    struct Case { const char* name; std::function<void(ISensorController&)> action; int writes, inPlaceWrites; };
    const Case cases[] = {
        {"a flush of a changed brightness",
         [](ISensorController& c) { c.setParameter(kBrightness, 77, true), c.flush(); }, 1, 1},
        {"a flush with nothing changed", [](ISensorController& c) { c.flush(); }, 0, 1},
        {"a restart over the saved files", [&](ISensorController& c) { c.uinit(), c.init(configure_); }, 0, 1},
        {"an hour of passes judging day and night",
         [](ISensorController& c) {
             c.setParameter(8000, 2, true);
             hostsim::setAutoAdvance(true);
             const std::int64_t start = hostsim::simulatedEpochSeconds();
             for (int i = 0; i < 3600; ++i) c.sensorThread();
             EXPECT_EQ(hostsim::simulatedEpochSeconds() - start, 3600);
         },
         0, -1},
        {"every read",
         [](ISensorController& c) {
             int n = 0, m = 0;
             unsigned u = 0;
             bool b = false;
             std::string text;
             SensorZoomFocusParam zoomFocus;
             c.getParameter(kBrightness, n), c.getDNMode(n), c.getWDRSwitch(n), c.getBeaway(n), c.getMirrorValue(n);
             c.getParamScheme(n), c.getParamMode(n), c.getZoomValue(n, m), c.getFocusValue(n), c.getFocusMode(n);
             c.getDNState(n), c.getAFStatistic(u), c.getWDR(n), c.getCmdExecStatus(34, n), c.getIRSwitch(n);
             c.getWhiteSwitch(n), c.getWhiteMode(n), c.getLightType(n), c.getIrisValue(n), c.getHeatStatus(b);
             c.getTempValue(n), c.getSensorZoomFocusParam(zoomFocus), c.getAllParameters(text);
             c.getParameters("34,35", text), c.getSensorParamRange(kBrightness, n, text), c.getCameraVerInf(text);
             c.getShutterValue(n), c.getUIStyleFile(), c.getSensorStatus(), c.getSensorType();
         },
         0, -1},
    };
    for (bool atomic : {true, false}) {
        hostsim::setAtomicCommit(atomic);
        for (const Case& k : cases) {
            if (!atomic && k.inPlaceWrites < 0) continue;
            SCOPED_TRACE(std::string(k.name) + (atomic ? "" : ", in place"));
            hostsim::setAutoAdvance(false);
            testsupport::Started c;
            captureStdout([&] { c = start(); });
            const std::uint64_t before = hostsim::flashWrites();
            captureStdout([&] { k.action(*c); });
            EXPECT_EQ(hostsim::flashWrites() - before, static_cast<std::uint64_t>(atomic ? k.writes : k.inPlaceWrites));
        }
    }
}

}  // namespace
