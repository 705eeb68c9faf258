// Benchmarks of the module's operations, each beside its floor: the work no implementation can avoid.
#include <benchmark/benchmark.h>
#include <dlfcn.h>
#include <execinfo.h>
#include <fcntl.h>
#include <unistd.h>
#include <malloc.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include <tinyxml.h>

#include "GThread.h"
#include "ISensorController.h"
#include "ModuleConfigure.h"
#include "PLFile.h"
#include "PeloraTime.h"
#include "SensorFile.h"
#include "SensorKeyVal.h"
#include "hostsim.h"
// Older trees measured against this source (scripts/bench.sh --compare) may lack the served camera.
#ifdef SENSOR_BENCH_SERVED
#include "api.h"
#include "camera.h"
#include "simcamera.h"
#include "simcontrol.h"
#endif

namespace fs = std::filesystem;

// ---------------------------------------------------------------- allocation counting
// The benchmark binary counts every heap allocation of the process while asked
// to, and can keep the blocks still live. An allocation is the module's when
// the first caller outside the C and C++ runtime and TinyXML lies in
// libsensordll, the simulator's when it lies in libhostsim; the rest (this
// binary, with the host-side library linked in) is the host's.
extern "C" void* __libc_malloc(size_t);
extern "C" void* __libc_calloc(size_t, size_t);
extern "C" void* __libc_realloc(void*, size_t);
extern "C" void __libc_free(void*);

namespace {
std::atomic<bool> g_counting(false);
std::atomic<long> g_moduleAllocations(0);
std::atomic<long> g_allAllocations(0);
thread_local bool t_inHook = false;

enum class Owner { Other, Module, Simulator };

Owner ownerOf()
{
    void* frames[24];
    const int n = backtrace(frames, 24);
    for (int i = 1; i < n; ++i) {
        Dl_info info;
        if (dladdr(frames[i], &info) == 0 || info.dli_fname == nullptr) continue;
        const char* name = std::strrchr(info.dli_fname, '/');
        name = name != nullptr ? name + 1 : info.dli_fname;
        if (std::strncmp(name, "libc.", 5) == 0 || std::strncmp(name, "libstdc++", 9) == 0 ||
            std::strncmp(name, "libtinyxml", 10) == 0 || std::strncmp(name, "sensor_bench", 12) == 0) {
            continue;
        }
        if (std::strncmp(name, "libsensordll", 12) == 0) return Owner::Module;
        return std::strncmp(name, "libhostsim", 10) == 0 ? Owner::Simulator : Owner::Other;
    }
    return Owner::Other;
}

bool calledFromModule() { return ownerOf() == Owner::Module; }

void countAllocation()
{
    if (!g_counting.load(std::memory_order_relaxed) || t_inHook) return;
    t_inHook = true;
    g_allAllocations.fetch_add(1, std::memory_order_relaxed);
    if (calledFromModule()) g_moduleAllocations.fetch_add(1, std::memory_order_relaxed);
    t_inHook = false;
}

// The module's live blocks while tracking is on: address and usable size, in a
// fixed open-addressing table (the hooks must not allocate).
constexpr std::size_t kTracked = std::size_t(1) << 18;
struct Tracked {
    void* p;
    std::size_t size;
    Owner owner;
};
Tracked g_tracked[kTracked];
std::atomic<bool> g_tracking(false);
std::atomic_flag g_trackedLock = ATOMIC_FLAG_INIT;
void* const kGone = reinterpret_cast<void*>(1);

std::size_t slotOf(void* p) { return (reinterpret_cast<std::uintptr_t>(p) >> 4) * 0x9E3779B97F4A7C15ull >> 46; }

void trackAllocation(void* p)
{
    if (p == nullptr || !g_tracking.load(std::memory_order_relaxed) || t_inHook) return;
    t_inHook = true;
    const Owner owner = ownerOf();
    {
        while (g_trackedLock.test_and_set(std::memory_order_acquire)) {
        }
        std::size_t i = slotOf(p);
        while (g_tracked[i].p != nullptr && g_tracked[i].p != kGone) i = (i + 1) % kTracked;
        g_tracked[i] = Tracked{p, malloc_usable_size(p), owner};
        g_trackedLock.clear(std::memory_order_release);
    }
    t_inHook = false;
}

void untrack(void* p)
{
    if (p == nullptr || !g_tracking.load(std::memory_order_relaxed)) return;
    while (g_trackedLock.test_and_set(std::memory_order_acquire)) {
    }
    for (std::size_t i = slotOf(p); g_tracked[i].p != nullptr; i = (i + 1) % kTracked) {
        if (g_tracked[i].p == p) {
            g_tracked[i].p = kGone;
            break;
        }
    }
    g_trackedLock.clear(std::memory_order_release);
}

// Live blocks are kept from here on; a block freed while nothing is kept
// would otherwise stay in the table.
void startTracking()
{
    std::memset(static_cast<void*>(g_tracked), 0, sizeof(g_tracked));
    g_tracking = true;
}

std::size_t trackedBytes(Owner owner = Owner::Module)
{
    std::size_t bytes = 0;
    for (const Tracked& t : g_tracked) {
        if (t.p != nullptr && t.p != kGone && t.owner == owner) bytes += t.size;
    }
    return bytes;
}
}  // namespace

extern "C" void* malloc(size_t size)
{
    countAllocation();
    void* p = __libc_malloc(size);
    trackAllocation(p);
    return p;
}
extern "C" void* calloc(size_t n, size_t size)
{
    countAllocation();
    void* p = __libc_calloc(n, size);
    trackAllocation(p);
    return p;
}
extern "C" void* realloc(void* old, size_t size)
{
    countAllocation();
    untrack(old);
    void* p = __libc_realloc(old, size);
    trackAllocation(p);
    return p;
}
extern "C" void free(void* p)
{
    untrack(p);
    __libc_free(p);
}

namespace {

// ---------------------------------------------------------------- the camera

const char* const kSignFile = "/tmp/Debug.sign";

struct Camera {
    std::string root;
    hostsim::SimVideoModule video;
    ModuleConfigure config;

    Camera()
    {
        root = (fs::temp_directory_path() / "sensor-bench-XXXXXX").string();
        if (::mkdtemp(root.data()) == nullptr) std::abort();
        std::string error;
        if (!hostsim::installProfile(SENSOR_PROFILES_DIR "/bullet", root, error)) std::abort();
        hostsim::setRoot(root);
        hostsim::resetAll();
        hostsim::setThreadsHeld(true);
        if (!hostsim::loadSimProfile(root + "/sim.ini", video, error)) std::abort();
        // Level 1: the module reads the file before every report it considers, and prints none.
        std::ofstream(root + kSignFile) << "1\n0\n";
        config.setModuleId(334);
        config.setDetail("(max_scheme=4)(isInfrared=1)(lensId=3)(lensType=STD)(sensor=IMX334)");
    }
    ~Camera() { fs::remove_all(root); }

    std::unique_ptr<ISensorController> start(int channel = 1)
    {
        auto c = std::make_unique<ISensorController>();
        c->setChannelID(channel);
        c->setVideoStreamModule(&video);
        c->init(config);
        return c;
    }
};

Camera& camera()
{
    static Camera instance;
    return instance;
}

ISensorController& channel()
{
    static std::unique_ptr<ISensorController> c = camera().start();
    return *c;
}

// ---------------------------------------------------------------- floors

// What updateDebugLevel must do per report: test for the file, read two lines.
void debugCheck()
{
    if (!PLFile::isExist(kSignFile)) return;
    PLFile file;
    if (!file.open(kSignFile, PLFile::modeRead)) return;
    benchmark::DoNotOptimize(std::atoi(file.ReadOneLine().c_str()));
    benchmark::DoNotOptimize(std::atoi(file.ReadOneLine().c_str()));
    file.close();
}

void debugChecks(double count)
{
    for (long i = 0; i < static_cast<long>(count + 0.5); ++i) debugCheck();
}

// The library calls an operation made, to be replayed directly.
struct Replay {
    std::vector<hostsim::IspCall> calls;
    double checks = 0;  // debug-level checks per run

    void run() const
    {
        for (const hostsim::IspCall& call : calls) {
            std::vector<std::int32_t> words = call.in;
            words.resize(80);  // room for the largest record
            ia_ioctrl_v2(call.channel, static_cast<ia_cmd_e>(call.cmd), call.option,
                         words.data());
        }
        debugChecks(checks);
    }
};

// Runs `op` once and records the library calls and debug-level checks it made.
template <typename Op>
Replay record(Op&& op)
{
    hostsim::SimIsp& isp = hostsim::SimIsp::instance();
    isp.clearCalls();
    const std::uint64_t before = hostsim::existChecks();
    op();
    Replay replay;
    replay.calls = isp.calls();
    replay.checks = static_cast<double>(hostsim::existChecks() - before);
    isp.clearCalls();
    hostsim::clearTrace();
    return replay;
}

// The simulator's logs grow with every call; a benchmark clears them as it goes.
void dropLogs()
{
    hostsim::SimIsp::instance().clearCalls();
    hostsim::clearTrace();
    camera().video.clearNotifications();
}

template <typename Op>
void loop(benchmark::State& state, Op&& op)
{
    long n = 0;
    for (auto _ : state) {
        op();
        if (++n % 256 == 0) {
            state.PauseTiming();
            dropLogs();
            state.ResumeTiming();
        }
    }
    dropLogs();
}

// ---------------------------------------------------------------- the operations

// One measured operation: what a single iteration does, and what puts the
// channel back afterwards. The same closures serve the timed benchmarks and
// the fixed-count runs that callgrind counts.
struct Work {
    std::function<void()> op;
    std::function<void()> done = [] {};
};

// ---------------------------------------------------------------- single parameters

Work SetParameterSkip(int)
{
    ISensorController& c = channel();
    c.setParameter(34, 50, true);
    return {[&c] { benchmark::DoNotOptimize(c.setParameter(34, 50, true)); }};
}

Work SetParameterSkip_floor(int)
{
    ISensorController& c = channel();
    auto replay = std::make_shared<Replay>(record([&] { c.setParameter(34, 50, true); }));
    return {[replay] { replay->run(); }};
}

Work SetParameterSend(int)
{
    ISensorController& c = channel();
    auto value = std::make_shared<int>(50);
    return {[&c, value] { benchmark::DoNotOptimize(c.setParameter(34, *value ^= 1, true)); },
            [&c] { c.setParameter(34, 50, true); }};
}

Work SetParameterSend_floor(int)
{
    ISensorController& c = channel();
    auto replay = std::make_shared<Replay>(record([&] { c.setParameter(34, 51, true); }));
    c.setParameter(34, 50, true);
    return {[replay] { replay->run(); }};
}

// ---------------------------------------------------------------- switches

const int kTenKeys[] = {34, 2337, 2353, 2321, 65, 66, 770, 771, 2306, 2312};

void prepareSchemeOne(ISensorController& c)
{
    c.setParamScheme(1);
    for (int key : kTenKeys) c.setParameter(key, 60, true);
    c.setParamScheme(0);
}

Work SwitchTenKeys(int)
{
    ISensorController& c = channel();
    prepareSchemeOne(c);
    auto scheme = std::make_shared<int>(0);
    return {[&c, scheme] { benchmark::DoNotOptimize(c.switch_to(*scheme ^= 1)); }, [&c] { c.switch_to(0); }};
}

Work SwitchTenKeys_floor(int)
{
    ISensorController& c = channel();
    prepareSchemeOne(c);
    auto replay = std::make_shared<Replay>(record([&] { c.switch_to(1); }));
    c.switch_to(0);
    return {[replay] { replay->run(); }};
}

Work SwitchForced(int)
{
    ISensorController& c = channel();
    return {[&c] { benchmark::DoNotOptimize(c.switch_to(0, true)); }};
}

Work SwitchForced_floor(int)
{
    ISensorController& c = channel();
    auto replay = std::make_shared<Replay>(record([&] { c.switch_to(0, true); }));
    return {[replay] { replay->run(); }};
}

// ---------------------------------------------------------------- parameter strings

std::string fullSetText(ISensorController& c, int delta)
{
    std::string all;
    c.getAllParameters(all);
    std::vector<KeyVal> set(200);
    unsigned count = 0;
    keyval_str2st(all, set.data(), &count, static_cast<unsigned>(set.size()));
    for (unsigned i = 0; i < count; ++i) {
        if (set[i].key == 34 || set[i].key == 2337 || set[i].key == 2353) set[i].value += delta;
    }
    std::string text;
    keyval_st2str(text, set.data(), count);
    return text;
}

Work SetParametersText(int)
{
    ISensorController& c = channel();
    auto texts = std::make_shared<std::vector<std::string>>(
        std::vector<std::string>{fullSetText(c, 1), fullSetText(c, 0)});
    auto i = std::make_shared<int>(0);
    return {[&c, texts, i] { benchmark::DoNotOptimize(c.setParameters((*texts)[*i ^= 1], true)); }};
}

Work SetParametersText_floor(int)
{
    ISensorController& c = channel();
    const std::string text = fullSetText(c, 1);
    auto replay = std::make_shared<Replay>(record([&] { c.setParameters(text, true); }));
    c.setParameters(fullSetText(c, -1), true);
    return {[replay] { replay->run(); }};
}

Work GetAllParameters(int)
{
    ISensorController& c = channel();
    return {[&c] {
        std::string text;
        benchmark::DoNotOptimize(c.getAllParameters(text));
    }};
}

Work GetAllParameters_floor(int)
{
    ISensorController& c = channel();
    std::string text;
    auto replay = std::make_shared<Replay>(record([&] { c.getAllParameters(text); }));
    return {[replay] { replay->run(); }};
}

// The codecs' floor: formatting and scanning the same pairs with the C library.
Work PairCodecs(int)
{
    ISensorController& c = channel();
    auto text = std::make_shared<std::string>(fullSetText(c, 0));
    auto set = std::make_shared<std::vector<KeyVal>>(200);
    return {[text, set] {
        unsigned count = 0;
        keyval_str2st(*text, set->data(), &count, static_cast<unsigned>(set->size()));
        std::string out;
        keyval_st2str(out, set->data(), count);
        benchmark::DoNotOptimize(out.data());
    }};
}

Work PairCodecs_floor(int)
{
    ISensorController& c = channel();
    auto text = std::make_shared<std::string>(fullSetText(c, 0));
    auto set = std::make_shared<std::vector<KeyVal>>(200);
    return {[text, set] {
        unsigned count = 0;
        const char* p = text->c_str();
        int used = 0;
        while (count < set->size() &&
               std::sscanf(p, "(%u,%d)%n", &(*set)[count].key, &(*set)[count].value, &used) == 2) {
            p += used;
            ++count;
        }
        std::string out;
        out.reserve(text->size());
        char pair[32];
        for (unsigned i = 0; i < count; ++i) {
            std::snprintf(pair, sizeof(pair), "(%u,%d)", (*set)[i].key, (*set)[i].value);
            out += pair;
        }
        benchmark::DoNotOptimize(out.data());
    }};
}

// ---------------------------------------------------------------- saving

// A whole file written as the module writes one: open with truncation, one write, close.
void writeFile(const char* name, std::string bytes)
{
    PLFile file;
    file.open(name, PLFile::modeWrite | PLFile::modeTruncate);
    benchmark::DoNotOptimize(file.write(bytes.data(), static_cast<unsigned>(bytes.size())));
    file.close();
}

const char* const kSchemeFile = "/mnt/mtd/code/config_file/sensor1_0.cfg";

std::string readCameraFile(const char* name)
{
    std::ifstream in(camera().root + name, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// Flush/1: a new value of one key and the scheme in force saved; Flush/0: the
// scheme saved again unchanged (the host finds the same bytes and writes nothing).
Work Flush(int changed)
{
    ISensorController& c = channel();
    c.setParameter(34, 50, true);
    c.flush();
    if (changed == 0) return {[&c] { benchmark::DoNotOptimize(c.flush()); }};
    auto value = std::make_shared<int>(50);
    return {[&c, value] {
                c.setParameter(34, *value ^= 1, true);
                benchmark::DoNotOptimize(c.flush());
            },
            [&c] {
                c.setParameter(34, 50, true);
                c.flush();
            }};
}

// Floor: the same setParameter's library call and checks, and the scheme
// file's bytes written through the host's file class, which replaces the
// file whole (or, unchanged, compares and writes nothing).
Work Flush_floor(int changed)
{
    ISensorController& c = channel();
    struct Floor {
        Replay set;
        Replay flush;
        std::string bytes[2];
    };
    auto floor = std::make_shared<Floor>();
    floor->set = record([&] { c.setParameter(34, 51, true); });
    c.flush();
    floor->bytes[1] = readCameraFile(kSchemeFile);
    c.setParameter(34, 50, true);
    floor->flush = record([&] { c.flush(); });
    floor->bytes[0] = readCameraFile(kSchemeFile);
    if (floor->bytes[0] == floor->bytes[1]) std::abort();  // not the file the flush writes
    if (changed == 0) {
        return {[floor] {
            floor->flush.run();
            writeFile(kSchemeFile, floor->bytes[0]);
        }};
    }
    auto next = std::make_shared<int>(0);
    return {[floor, next] {
                floor->set.run();
                floor->flush.run();
                writeFile(kSchemeFile, floor->bytes[*next ^= 1]);
            },
            [floor] { writeFile(kSchemeFile, floor->bytes[0]); }};
}

// ---------------------------------------------------------------- UI style

// The merged style repeated `times` times: a camera family with that many more parameters.
std::string scaledStyle(int times)
{
    std::ifstream in(camera().root + "/tmp/merge_style_ch1.xml");
    std::stringstream whole;
    whole << in.rdbuf();
    const std::string style = whole.str();
    if (times == 1) return style;
    const std::size_t first = style.find("<tab ");
    const std::size_t end = style.rfind("</style>");
    const std::string tabs = style.substr(first, end - first);
    std::string out = style.substr(0, first);
    for (int i = 0; i < times; ++i) out += tabs;
    return out + style.substr(end);
}

void parseAndPrint(const std::string& text)
{
    TiXmlDocument doc;
    doc.Parse(text.c_str());
    TiXmlPrinter printer;
    doc.Accept(&printer);
    benchmark::DoNotOptimize(printer.CStr());
}

// The dynamic style of the channel (N = 1), or of the merged style repeated N times.
std::string dynamicStyle(ISensorController& c, const std::string& style, int times)
{
    if (times == 1) return c.getUIStyleFile();
    std::string out;
    getDnaStyle(1, style.c_str(), out, true);
    return out;
}

Work UIStyle(int times)
{
    ISensorController& c = channel();
    auto style = std::make_shared<std::string>(scaledStyle(times));
    return {[&c, style, times] { benchmark::DoNotOptimize(dynamicStyle(c, *style, times).data()); }};
}

// Floor: the library's queries and the debug-level checks of the same call on
// the same document, one parse and one print of that document.
Work UIStyle_floor(int times)
{
    ISensorController& c = channel();
    auto style = std::make_shared<std::string>(scaledStyle(times));
    auto replay = std::make_shared<Replay>(record([&] { dynamicStyle(c, *style, times); }));
    return {[style, replay] {
        replay->run();
        parseAndPrint(*style);
    }};
}

// ---------------------------------------------------------------- start-up

Work InitUinit(int)
{
    Camera& cam = camera();
    auto c = std::make_shared<ISensorController>();
    c->setChannelID(1);
    c->setVideoStreamModule(&cam.video);
    return {[c, &cam] {
        c->init(cam.config);
        c->uinit();
    }};
}

// Floor of starting `channels` channels one after the other and taking them
// down: for each, reading every file start-up reads, writing the two it writes
// (the merged style and the version, the same bytes, so the camera's files stay
// as they are), the library calls it makes, the style parsed and printed for
// the merge and for the dynamic style, the wait that opens the sensor thread's
// first pass (init runs one pass itself: 1 ms on the simulated clock), and then,
// as init does, a thread started as the sensor thread is (held, as everywhere
// in this suite), stopped once all are up.
Work startUpFloor(int channels)
{
    Camera& cam = camera();
    const Replay replay = record([&] {
        ISensorController c;
        c.setChannelID(1);
        c.setVideoStreamModule(&cam.video);
        c.init(cam.config);
        c.uinit();
    });
    struct Floor {
        Replay replay;
        std::string style;
        std::vector<std::string> files;
        std::vector<char> buffer;
        std::string version;
    };
    auto floor = std::make_shared<Floor>(Floor{
        replay,
        scaledStyle(1),
        {"/hd1/moduleConfig/sensorConfig/style/Style.xml",
         "/hd1/moduleConfig/sensorConfig/styleDiversity/StyleDiversity.xml",
         "/mnt/mtd/code/factory_setting/machineinfo.ini", "/mnt/mtd/code/config_file/sensor1_0.cfg",
         "/mnt/mtd/code/config_file/sensor1_1.cfg", "/mnt/mtd/code/config_file/sensor1_2.cfg",
         "/mnt/mtd/code/config_file/sensor1_3.cfg", "/mnt/mtd/code/config_file/snsversion.cfg"},
        std::vector<char>(1 << 16), std::string()});
    {
        std::ifstream in(cam.root + "/mnt/mtd/code/config_file/snsversion.cfg", std::ios::binary);
        floor->version.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    }
    return {[floor, channels] {
        std::vector<std::unique_ptr<GThread>> threads;
        for (int ch = 0; ch < channels; ++ch) {
            for (const std::string& name : floor->files) {
                PLFile file;
                file.open(name.c_str(), PLFile::modeRead);
                benchmark::DoNotOptimize(
                    file.read(floor->buffer.data(), static_cast<unsigned>(floor->buffer.size())));
                file.close();
            }
            for (int i = 0; i < 2; ++i) parseAndPrint(floor->style);
            writeFile("/tmp/merge_style_ch1.xml", floor->style);
            writeFile("/mnt/mtd/code/config_file/snsversion.cfg", floor->version);
            PeloraTime::wait(PeloraTime(1, 0));
            floor->replay.run();
            threads.push_back(std::make_unique<GThread>(function<int>(&GThread::emptyFun), "SensorThread",
                                                        function<int>(&GThread::emptyFun),
                                                        function<int>(&GThread::emptyFun)));
            threads.back()->start();
        }
        for (auto& thread : threads) thread->stop();
    }};
}

Work InitUinit_floor(int)
{
    return startUpFloor(1);
}

Work SixteenChannels(int)
{
    Camera& cam = camera();
    return {[&cam] {
        std::vector<std::unique_ptr<ISensorController>> channels;
        for (int ch = 1; ch <= 16; ++ch) channels.push_back(cam.start(ch));
        for (auto& c : channels) c->uinit();
    }};
}

Work SixteenChannels_floor(int)
{
    return startUpFloor(16);
}

// Every operation in table order: name, maker, arguments (none: one run with 0), unit.
struct Entry {
    const char* name;
    Work (*make)(int);
    std::vector<int> args;
    benchmark::TimeUnit unit;
};

const std::vector<Entry>& entries()
{
    static const std::vector<Entry> list = {
        {"SetParameterSkip", SetParameterSkip, {}, benchmark::kNanosecond},
        {"SetParameterSkip_floor", SetParameterSkip_floor, {}, benchmark::kNanosecond},
        {"SetParameterSend", SetParameterSend, {}, benchmark::kNanosecond},
        {"SetParameterSend_floor", SetParameterSend_floor, {}, benchmark::kNanosecond},
        {"SwitchTenKeys", SwitchTenKeys, {}, benchmark::kNanosecond},
        {"SwitchTenKeys_floor", SwitchTenKeys_floor, {}, benchmark::kNanosecond},
        {"SwitchForced", SwitchForced, {}, benchmark::kNanosecond},
        {"SwitchForced_floor", SwitchForced_floor, {}, benchmark::kNanosecond},
        {"SetParametersText", SetParametersText, {}, benchmark::kNanosecond},
        {"SetParametersText_floor", SetParametersText_floor, {}, benchmark::kNanosecond},
        {"GetAllParameters", GetAllParameters, {}, benchmark::kNanosecond},
        {"GetAllParameters_floor", GetAllParameters_floor, {}, benchmark::kNanosecond},
        {"PairCodecs", PairCodecs, {}, benchmark::kNanosecond},
        {"PairCodecs_floor", PairCodecs_floor, {}, benchmark::kNanosecond},
        {"Flush", Flush, {0, 1}, benchmark::kNanosecond},
        {"Flush_floor", Flush_floor, {0, 1}, benchmark::kNanosecond},
        {"UIStyle", UIStyle, {1, 2, 4, 10}, benchmark::kNanosecond},
        {"UIStyle_floor", UIStyle_floor, {1, 2, 4, 10}, benchmark::kNanosecond},
        {"InitUinit", InitUinit, {}, benchmark::kMillisecond},
        {"InitUinit_floor", InitUinit_floor, {}, benchmark::kMillisecond},
        {"SixteenChannels", SixteenChannels, {}, benchmark::kMillisecond},
        {"SixteenChannels_floor", SixteenChannels_floor, {}, benchmark::kMillisecond},
    };
    return list;
}

void registerAll()
{
    for (const Entry& entry : entries()) {
        auto run = [&entry](benchmark::State& state) {
            Work work = entry.make(entry.args.empty() ? 0 : static_cast<int>(state.range(0)));
            loop(state, work.op);
            work.done();
        };
        benchmark::internal::Benchmark* b = benchmark::RegisterBenchmark(entry.name, run);
        b->Unit(entry.unit);
        // The lowest of several repetitions is the figure least disturbed by other jobs.
        b->ComputeStatistics("min", [](const std::vector<double>& v) { return *std::min_element(v.begin(), v.end()); });
        for (int arg : entry.args) b->Arg(arg);
    }
}

// The fixed-count loop that callgrind is told to count (--toggle-collect=*countedRun*).
__attribute__((noinline)) void countedRun(const std::function<void()>& op, long count)
{
    for (long i = 0; i < count; ++i) op();
}

// "--count=NAME[/ARG]:N": runs the operation once to warm up, then N times
// inside countedRun, with no timing; for instruction counts under callgrind.
int runCounted(const std::string& request, std::FILE* out)
{
    const std::size_t colon = request.rfind(':');
    std::string name = request.substr(0, colon);
    const long count = colon == std::string::npos ? 1 : std::atol(request.c_str() + colon + 1);
    int arg = 0;
    const std::size_t slash = name.find('/');
    if (slash != std::string::npos) {
        arg = std::atoi(name.c_str() + slash + 1);
        name.resize(slash);
    }
    for (const Entry& entry : entries()) {
        if (name != entry.name) continue;
        Work work = entry.make(arg);
        work.op();
        dropLogs();
        countedRun(work.op, count);
        dropLogs();
        work.done();
        std::fprintf(out, "%s ran %ld times\n", request.substr(0, colon).c_str(), count);
        return 0;
    }
    std::fprintf(out, "no operation %s\n", name.c_str());
    return 2;
}

// ---------------------------------------------------------------- the table

class TableReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override
    {
        // Repeated runs (--benchmark_repetitions) keep their lowest time, as
        // does the "min" aggregate when only aggregates are reported.
        for (const Run& run : runs) {
            if (run.error_occurred) continue;
            if (run.run_type == Run::RT_Aggregate && run.aggregate_name != "min") continue;
            const std::string name = run.run_name.str();
            const double ns = run.GetAdjustedRealTime() / benchmark::GetTimeUnitMultiplier(run.time_unit) * 1e9;
            auto known = times_.find(name);
            if (known == times_.end()) {
                times_[name] = ns;
            } else {
                known->second = std::min(known->second, ns);
            }
        }
    }

    // One line per measured operation: its name and its lowest time in nanoseconds.
    void printRaw(std::FILE* out) const
    {
        for (const auto& [name, ns] : times_) std::fprintf(out, "%s %.1f\n", name.c_str(), ns);
    }

    void printTable(std::FILE* out) const
    {
        std::fprintf(out, "| Operation | Time | Floor | Ratio |\n|---|---:|---:|---:|\n");
        // In registration order, whatever order the runs came in.
        std::vector<std::string> order;
        for (const Entry& entry : entries()) {
            if (entry.args.empty()) order.push_back(entry.name);
            for (int arg : entry.args) order.push_back(std::string(entry.name) + "/" + std::to_string(arg));
        }
        for (const std::string& name : order) {
            if (name.find("_floor") != std::string::npos || times_.count(name) == 0) continue;
            std::string floorName = name;
            const std::size_t slash = name.find('/');
            floorName.insert(slash == std::string::npos ? name.size() : slash, "_floor");
            const double time = times_.at(name);
            auto floor = times_.find(floorName);
            if (floor == times_.end()) {
                std::fprintf(out, "| %s | %s | - | - |\n", name.c_str(), human(time).c_str());
            } else {
                std::fprintf(out, "| %s | %s | %s | %.2f |\n", name.c_str(), human(time).c_str(),
                             human(floor->second).c_str(), time / floor->second);
            }
        }
    }

private:
    static std::string human(double ns)
    {
        char text[32];
        if (ns < 1e4) {
            std::snprintf(text, sizeof(text), "%.0f ns", ns);
        } else if (ns < 1e7) {
            std::snprintf(text, sizeof(text), "%.1f us", ns / 1e3);
        } else {
            std::snprintf(text, sizeof(text), "%.1f ms", ns / 1e6);
        }
        return text;
    }
    std::map<std::string, double> times_;
};

// Heap held by a started channel (the module's own blocks, and the whole
// process's growth), allocations per setParameter on both paths.
void printFootprint(std::FILE* out)
{
    Camera& cam = camera();
    void* warm[4];
    backtrace(warm, 4);  // loads the unwinder before counting starts
    const std::size_t before = mallinfo2().uordblks;
    startTracking();
    auto c = cam.start();
    const std::size_t held = mallinfo2().uordblks - before;
    const std::size_t moduleHeld = trackedBytes();

    auto count = [&](bool send, double& all) {
        g_moduleAllocations = 0;
        g_allAllocations = 0;
        g_counting = true;
        for (int i = 0; i < 100; ++i) c->setParameter(34, send ? 51 + (i & 1) : 50, true);
        g_counting = false;
        all = g_allAllocations.load() / 100.0;
        return g_moduleAllocations.load() / 100.0;
    };
    c->setParameter(34, 50, true);
    double skipAll = 0;
    double sendAll = 0;
    const double skip = count(false, skipAll);
    const double send = count(true, sendAll);
    c->uinit();
    c.reset();
    const std::size_t moduleLeft = trackedBytes();
    // Sixteen channels at once, as SixteenChannels starts them.
    std::vector<std::unique_ptr<ISensorController>> channels;
    for (int ch = 1; ch <= 16; ++ch) channels.push_back(cam.start(ch));
    const std::size_t moduleSixteen = trackedBytes() - moduleLeft;
    for (auto& channel : channels) channel->uinit();
    channels.clear();
    g_tracking = false;
    std::fprintf(out, "\n| Footprint | Value |\n|---|---:|\n");
    std::fprintf(out, "| heap held by one started channel, the module's share | %zu bytes |\n", moduleHeld);
    std::fprintf(out, "| the same, per channel with sixteen started | %zu bytes |\n", moduleSixteen / 16);
    std::fprintf(out, "| the module's heap left once the channel is stopped and destroyed | %zu bytes |\n", moduleLeft);
    std::fprintf(out, "| heap held by one started channel, whole process (simulator included) | %zu bytes |\n", held);
    std::fprintf(out, "| module allocations per setParameter, value unchanged | %.2f |\n", skip);
    std::fprintf(out, "| module allocations per setParameter, new value | %.2f |\n", send);
    std::fprintf(out, "| process allocations per setParameter (host included), unchanged / new | %.2f / %.2f |\n",
                 skipAll, sendAll);
    Dl_info info;
    if (dladdr(reinterpret_cast<void*>(&keyval_st2str), &info) != 0 && info.dli_fname != nullptr) {
        std::fprintf(out, "| libsensordll.so on disk | %ju bytes |\n",
                     static_cast<std::uintmax_t>(fs::file_size(info.dli_fname)));
    }
}

#ifdef SENSOR_BENCH_SERVED
// Heap of the served camera as `sensorctl serve` holds it (every channel up,
// its control description built, the JSON API over them), split by owner: the
// module's blocks, the simulator's, and the rest, the server's. Measured with
// one channel and with sixteen (the bullet camera's module listed sixteen
// times); the difference over fifteen is the share of each further channel.
void printServedFootprint(std::FILE* out)
{
    struct Held {
        std::size_t module, simulator, server;
    };
    auto serve = [](int channels) {
        std::string dir = (fs::temp_directory_path() / "sensor-bench-served-XXXXXX").string();
        if (::mkdtemp(dir.data()) == nullptr) std::abort();
        std::string error;
        if (!sensorhost::makeRoot(dir, "bullet", false, error)) std::abort();
        const std::string config = dir + "/hd1/moduleConfig/moduleConfig.xml";
        std::string xml;
        {
            std::ifstream in(config, std::ios::binary);
            xml.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
        }
        const std::size_t from = xml.find("<module ");
        const std::size_t to = xml.find("</module>") + std::strlen("</module>");
        const std::string module = xml.substr(from, to - from);
        for (int i = 1; i < channels; ++i) xml.insert(to, "\n    " + module);
        std::ofstream(config, std::ios::binary | std::ios::trunc) << xml;
        std::ofstream(dir + kSignFile) << "1\n0\n";

        hostsim::setRoot(dir);
        hostsim::resetAll();
        hostsim::setThreadsHeld(true);
        startTracking();
        Held held{};
        {
            sensorhost::SimCamera camera;
            if (!camera.open(error) || camera.channelCount() != channels) std::abort();
            for (int c = 1; c <= channels; ++c) camera.controls(c);
            const std::unique_ptr<sensorhost::SimControl> sim = sensorhost::makeSimControl(camera);
            sensorhost::Api api(camera, sim.get());
            held.module = trackedBytes(Owner::Module);
            held.simulator = trackedBytes(Owner::Simulator);
            held.server = trackedBytes(Owner::Other);
        }
        g_tracking = false;
        fs::remove_all(dir);
        return held;
    };
    const Held one = serve(1);
    const Held sixteen = serve(16);
    hostsim::setRoot(camera().root);
    auto each = [](std::size_t a, std::size_t b) { return (static_cast<double>(b) - static_cast<double>(a)) / 15; };
    std::fprintf(out, "\n| Served camera, heap | one channel | sixteen | per further channel |\n|---|---:|---:|---:|\n");
    std::fprintf(out, "| the module's | %zu bytes | %zu bytes | %.0f bytes |\n", one.module, sixteen.module,
                 each(one.module, sixteen.module));
    std::fprintf(out, "| the server's (channels, control descriptions, API) | %zu bytes | %zu bytes | %.0f bytes |\n",
                 one.server, sixteen.server, each(one.server, sixteen.server));
    std::fprintf(out, "| the simulator's | %zu bytes | %zu bytes | %.0f bytes |\n", one.simulator, sixteen.simulator,
                 each(one.simulator, sixteen.simulator));
}
#else
void printServedFootprint(std::FILE*) {}
#endif

}  // namespace

int main(int argc, char** argv)
{
    std::string counted;
    bool raw = false;
    bool footprint = false;
    for (int i = 1; i < argc; ++i) {
        // The heap figures alone, without timing anything.
        if (std::strcmp(argv[i], "--footprint") == 0) footprint = true;
        if (std::strncmp(argv[i], "--count=", 8) == 0) counted = argv[i] + 8;
        // Times only, one "name nanoseconds" line each, for scripts to combine runs.
        if (std::strcmp(argv[i], "--raw-times") == 0) raw = true;
        // Every operation, floors included, as --count names them.
        if (std::strcmp(argv[i], "--list-operations") == 0) {
            for (const Entry& entry : entries()) {
                if (entry.args.empty()) std::printf("%s\n", entry.name);
                for (int arg : entry.args) std::printf("%s/%d\n", entry.name, arg);
            }
            return 0;
        }
    }
    registerAll();
    benchmark::Initialize(&argc, argv);
    // The table goes to the real standard output; the module's console to nowhere.
    std::fflush(stdout);
    const int tableFd = ::dup(STDOUT_FILENO);
    const int quiet = ::open("/dev/null", O_WRONLY);
    ::dup2(quiet, STDOUT_FILENO);
    ::close(quiet);
    std::FILE* table = ::fdopen(tableFd, "w");

    camera();
    channel();
    if (!counted.empty()) {
        const int result = runCounted(counted, table);
        std::fclose(table);
        return result;
    }
    if (footprint) {
        printFootprint(table);
        printServedFootprint(table);
        std::fclose(table);
        return 0;
    }
    TableReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    if (raw) {
        reporter.printRaw(table);
    } else {
        reporter.printTable(table);
        printFootprint(table);
        printServedFootprint(table);
    }
    std::fclose(table);
    benchmark::Shutdown();
    return 0;
}
