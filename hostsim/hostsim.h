// Control surface of the simulated host: file root, clock, image-algorithm library and video module.
#ifndef HOSTSIM_HOSTSIM_H
#define HOSTSIM_HOSTSIM_H

#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "VideoStreamModule.h"
#include "ia_ioctrl.h"

namespace hostsim {

// ---------------------------------------------------------------- files
// Every absolute path of the module is mapped under the root. An empty root
// means the real paths, as on the camera. The initial root comes from
// SENSOR_ROOT.
void setRoot(const std::string& root);
std::string root();
// Lexical mapping: "." and ".." are resolved without leaving the root.
std::string mapPath(const std::string& path);

// Simulated full disk: writes through PLFile stop after this many more bytes
// (a short write); negative means unlimited.
void setDiskSpace(std::int64_t bytes);
std::int64_t diskSpace();
// Existence tests made through PLFile so far (the module makes one per report
// it considers, to read its debug level): what benchmarks count as unavoidable.
std::uint64_t existChecks();

// Opens of a path (after mapping, exact match of the module's path) fail.
enum OpenFault { kFailRead = 1, kFailWrite = 2 };
void setOpenFault(const std::string& modulePath, int faults);
void clearOpenFaults();

// ---------------------------------------------------------------- flash
// Everything under /mnt/mtd is flash: a change is durable only once synced
// (written data when its file is synced; a creation, rename or unlink when
// its directory is). PLFile opened with modeWrite | modeTruncate keeps the
// bytes until close and then writes nothing when the file already holds
// them, else writes "<name>.tmp", syncs it, renames it over the file and syncs
// the directory. setAtomicCommit(false) rewrites the file in place, unsynced,
// as the writes come: only for tests that show what that loses.
void setAtomicCommit(bool on);
// Writes that reached the flash: PLFile writes and error-log entries.
std::uint64_t flashWrites();
// Numbered steps so far: each write, sync and rename through PLFile and each
// file a shell command deleted.
std::uint64_t flashSteps();
// The power fails just before the given step: that step and everything after
// it stay off the flash. 0: no cut.
void setPowerCut(std::uint64_t step);
// What a cut does to the changes not yet durable.
enum class PowerLoss {
    DropUnsynced,  // all lost
    KeepUnsynced,  // all kept
    TearUnsynced,  // entry changes kept (reaching the flash before the data), each write only its first half
};
// Power on again after a cut: the flash keeps only what was durable and what
// `loss` lets through, /tmp (memory) is empty and temporaries left by a
// replacement are removed, as at every start of the host (setRoot too).
void reboot(PowerLoss loss);

// ---------------------------------------------------------------- clock
enum class ClockMode { Real, Simulated };

void setClockMode(ClockMode mode);
ClockMode clockMode();
// Simulated local time.
void setLocalTime(int year, int month, int day, int hour, int minute, int second);
void setTimeOfDay(int hour, int minute, int second = 0);
void advanceSeconds(std::int64_t seconds);
// Seconds since the epoch of the simulated clock.
std::int64_t simulatedEpochSeconds();
// 0: the simulated clock moves only when set or advanced (and by auto-advance).
// N > 0: it runs by itself at N times real time, from where it stands, and
// PeloraTime::wait sleeps a real 1/N of its duration: free-running sensor
// threads then make their passes once per simulated second, N times faster.
// Setting or advancing the clock while it runs moves it from there on.
void setClockSpeed(int speed);
int clockSpeed();
// In simulated mode PeloraTime::wait does not sleep for real (a millisecond's
// yield while the threads run, a bare yield while they are held); it records
// the duration and, when auto-advance is on, moves the clock.
void setAutoAdvance(bool on);
struct SleepRecord {
    long seconds;
    long microseconds;
};
std::vector<SleepRecord> sleeps();
void clearSleeps();

// ---------------------------------------------------------------- threads
// While held, a started GThread runs no pass of its body (it idles until
// released or stopped): a script then drives the sensor thread's passes itself.
void setThreadsHeld(bool held);
bool threadsHeld();
// Lock calls on any PLMutex that found it taken and had to wait, so far.
std::uint64_t lockWaits();

// ---------------------------------------------------------------- events
// One ordered trace of everything the module told the library and the video
// module, as text, for exact comparisons in tests:
//   "ia ch=0 cmd=34 opt=0 in=[50] ret=0"
//   "video ch=1 key=2370 val=0 ret=0"
//   "shell rm -rf /mnt/mtd/code/config*/sensor1_[0-3].cfg"  (as the module wrote it)
std::vector<std::string> trace();
void clearTrace();
// Every line gets the next sequence number, from 0; clearing or dropping lines
// does not reuse numbers. A reader keeps `next` as its cursor for the next call.
struct TracePage {
    std::uint64_t first = 0;  // the number of lines[0]; more than the cursor when lines were dropped meanwhile
    std::uint64_t next = 0;
    std::vector<std::string> lines;
};
TracePage traceSince(std::uint64_t cursor);

// A host that runs for days (sensorctl serve) keeps only the newest `entries`
// of each log: the trace, the library's call log, the recorded waits and the
// video module's notifications. 0, the default, keeps everything, as tests
// that compare whole logs need.
void setLogLimit(std::size_t entries);

// ---------------------------------------------------------------- ISP
struct IspCall {
    int channel;
    std::uint32_t cmd;
    std::uint32_t option;
    std::vector<std::int32_t> in;   // the words handed in
    std::vector<std::int32_t> out;  // the words after the call
    int result;
};

struct IspFault {
    int channel = -1;          // -1: any
    std::int64_t cmd = -1;     // -1: any
    std::int64_t option = -1;  // -1: any
    int skip = 0;              // matching calls let through before the first failure
    int count = -1;            // failures to inject; -1: always
    int result = -1;           // the failure code returned
};

class SimIsp {
public:
    static SimIsp& instance();

    // Back to an empty library: no values, no dynamic commands, no faults, empty log.
    void reset();

    // Values: GET answers what SET stored, else the default, else 0.
    void setDefault(int channel, std::uint32_t cmd, std::int32_t value);
    void setValue(int channel, std::uint32_t cmd, std::int32_t value);
    bool hasValue(int channel, std::uint32_t cmd) const;
    std::int32_t value(int channel, std::uint32_t cmd) const;
    // Records (day/night thresholds and times) as last set.
    std::vector<std::int32_t> record(int channel, std::uint32_t cmd) const;

    // Dynamic commands and their range records. The list keeps every command
    // given; the library hands out at most 16 of them, with cmd_cnt as given
    // unless setCommandCount overrides it.
    void setDynamicCommands(int channel, const std::vector<std::uint32_t>& cmds);
    void setCommandCount(int channel, std::int32_t count);
    void setRange(int channel, std::uint32_t cmd, const ia_dynamic_params_attr_st& range);

    void setDayNight(int channel, int state);  // command 153: 0 day, else night
    void setExecStatus(int channel, std::uint32_t cmd, std::int32_t status);
    void setVersionText(int channel, const std::string& text);
    void setSensorCheckResult(int channel, std::int32_t result);
    // Heater status (command 1606): the library answers a full 32-bit word.
    void setHeatStatus(int channel, std::int32_t value);

    void addFault(const IspFault& fault);
    // Fails the n-th call from now (1-based) of any kind, once.
    void failNthCall(int n, int result = -1);
    void clearFaults();
    // Drops the faults injected for one command.
    void clearFaultsFor(std::uint32_t cmd);

    std::vector<IspCall> calls() const;
    void clearCalls();
    std::size_t callCount() const;

    int ioctrl(int channel, std::uint32_t cmd, std::uint32_t option, void* data);

private:
    SimIsp() = default;
    struct Channel {
        std::map<std::uint32_t, std::int32_t> defaults;
        std::map<std::uint32_t, std::int32_t> values;
        std::map<std::uint32_t, std::vector<std::int32_t>> records;
        std::vector<std::uint32_t> dynamicCmds;
        bool countOverride = false;
        std::int32_t count = 0;
        std::map<std::uint32_t, ia_dynamic_params_attr_st> ranges;
        std::map<std::uint32_t, std::int32_t> execStatus;
        std::string versionText;
        std::int32_t checkResult = 0;
    };
    Channel& chan(int channel);
    const Channel* findChan(int channel) const;
    bool takeFault(int channel, std::uint32_t cmd, std::uint32_t option, int& result);

    mutable std::mutex mutex_;
    std::map<int, Channel> channels_;
    std::vector<IspFault> faults_;
    long nthCountdown_ = 0;
    int nthResult_ = -1;
    std::deque<IspCall> calls_;
};

// ---------------------------------------------------------------- video module
class SimVideoModule : public VideoStreamModule {
public:
    struct Notification {
        int channel;
        int key;
        int value;
    };

    SimVideoModule() = default;

    int notifySensorParam(int channel, int key, int value) const override;
    void getAVStreamParams(std::vector<AVStreamParam>& params) const override;
    void getLimitedFramesWDRModeParam(int channel, LimitedFramesWDRModeParam& param) const override;
    int getVideoBusyState() const override;

    // Result of notifySensorParam: per key, else the general one (0).
    void setNotifyResult(int result);
    void setNotifyResultForKey(int key, int result);
    void setStreams(const std::vector<AVStreamParam>& streams);
    void setLimitedFrames(int channel, const LimitedFramesWDRModeParam& param);
    // The busy query answers non-zero for the next `polls` calls (-1: forever).
    void setBusy(int polls);

    std::vector<Notification> notifications() const;
    void clearNotifications();
    int busyPolls() const;

private:
    mutable std::mutex mutex_;
    mutable std::deque<Notification> notifications_;
    mutable int busyLeft_ = 0;
    mutable int busyPolls_ = 0;
    int result_ = 0;
    std::map<int, int> keyResults_;
    std::vector<AVStreamParam> streams_;
    std::map<int, LimitedFramesWDRModeParam> limited_;
};

// ---------------------------------------------------------------- bundled cameras
// A camera profile is a directory with machineinfo.ini, moduleConfig.xml and
// sim.ini; its parent directory holds the style/ and styleDiversity/
// documents that every camera of the firmware carries.
//
// installProfile makes `rootDir` a camera root: each file at the path the
// camera reads it from, sim.ini at the top of the root, and the directories
// the module writes into. Existing files are overwritten.
bool installProfile(const std::string& profileDir, const std::string& rootDir, std::string& error);

// Where each file of a profile goes: the path relative to the camera's profile
// directory, and the camera path. The directories the module writes into.
struct ProfileFile {
    const char* fromProfile;
    const char* cameraPath;
};
const std::vector<ProfileFile>& profileLayout();
const std::vector<std::string>& cameraDirectories();

// Loads a sim.ini into the simulated library (channel sections) and into
// `video` (the [video] section). The format:
//   [channel N]                 1-based channel
//   version = TEXT              camera version text (command 2496)
//   daynight = day|night        day/night state (command 153)
//   default CMD = VALUE         value answered until the module sets one
//   dynamic CMD = def D min A max B type T items V...
//                               a run-time range, listed by command 4112
//   [clock]
//   start = HH:MM               local time when the simulator loads the file
//   [video]
//   stream = ENCODER WIDTH HEIGHT
//   limited CHANNEL = MODE_ID LIMIT_WDR
// Blank lines and lines starting with '#' are skipped. On a malformed line
// nothing more is loaded and `error` names the line.
bool loadSimProfile(const std::string& simIniPath, SimVideoModule& video, std::string& error);

// ---------------------------------------------------------------- whole host
// Everything back to its initial state (root excepted): simulated clock at
// 2026-01-01 12:00:00, no auto-advance, empty ISP, no faults, empty trace,
// atomic commits and no power cut.
void resetAll();

}  // namespace hostsim

#endif
