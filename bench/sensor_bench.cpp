// Benchmarks of the module's operations, each beside its floor: the work no implementation can avoid.
#include <benchmark/benchmark.h>
#include <dlfcn.h>
#include <execinfo.h>
#include <fcntl.h>
#include <unistd.h>
#include <malloc.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include <tinyxml.h>

#include "ISensorController.h"
#include "ModuleConfigure.h"
#include "PLFile.h"
#include "SensorFile.h"
#include "SensorKeyVal.h"
#include "hostsim.h"

namespace fs = std::filesystem;

// ---------------------------------------------------------------- allocation counting
// The benchmark binary counts every heap allocation of the process while asked to.
// An allocation is the module's when the first caller outside the C and C++
// runtime lies in libsensordll; the simulated host's own allocations (its
// file paths, its logs) are counted apart.
extern "C" void* __libc_malloc(size_t);
extern "C" void* __libc_calloc(size_t, size_t);
extern "C" void* __libc_realloc(void*, size_t);

namespace {
std::atomic<bool> g_counting(false);
std::atomic<long> g_moduleAllocations(0);
std::atomic<long> g_allAllocations(0);
thread_local bool t_inHook = false;

void countAllocation()
{
    if (!g_counting.load(std::memory_order_relaxed) || t_inHook) return;
    t_inHook = true;
    g_allAllocations.fetch_add(1, std::memory_order_relaxed);
    void* frames[24];
    const int n = backtrace(frames, 24);
    for (int i = 1; i < n; ++i) {
        Dl_info info;
        if (dladdr(frames[i], &info) == 0 || info.dli_fname == nullptr) continue;
        const char* name = std::strrchr(info.dli_fname, '/');
        name = name != nullptr ? name + 1 : info.dli_fname;
        if (std::strncmp(name, "libc.", 5) == 0 || std::strncmp(name, "libstdc++", 9) == 0 ||
            std::strncmp(name, "sensor_bench", 12) == 0) {
            continue;
        }
        if (std::strncmp(name, "libsensordll", 12) == 0) g_moduleAllocations.fetch_add(1, std::memory_order_relaxed);
        break;
    }
    t_inHook = false;
}
}  // namespace

extern "C" void* malloc(size_t size)
{
    countAllocation();
    return __libc_malloc(size);
}
extern "C" void* calloc(size_t n, size_t size)
{
    countAllocation();
    return __libc_calloc(n, size);
}
extern "C" void* realloc(void* p, size_t size)
{
    countAllocation();
    return __libc_realloc(p, size);
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

// ---------------------------------------------------------------- single parameters

void SetParameterSkip(benchmark::State& state)
{
    ISensorController& c = channel();
    c.setParameter(34, 50, true);
    loop(state, [&] { benchmark::DoNotOptimize(c.setParameter(34, 50, true)); });
}

void SetParameterSkip_floor(benchmark::State& state)
{
    ISensorController& c = channel();
    const Replay replay = record([&] { c.setParameter(34, 50, true); });
    loop(state, [&] { replay.run(); });
}

void SetParameterSend(benchmark::State& state)
{
    ISensorController& c = channel();
    int value = 50;
    loop(state, [&] { benchmark::DoNotOptimize(c.setParameter(34, value ^= 1, true)); });
    c.setParameter(34, 50, true);
}

void SetParameterSend_floor(benchmark::State& state)
{
    ISensorController& c = channel();
    const Replay replay = record([&] { c.setParameter(34, 51, true); });
    c.setParameter(34, 50, true);
    loop(state, [&] { replay.run(); });
}

// ---------------------------------------------------------------- switches

const int kTenKeys[] = {34, 2337, 2353, 2321, 65, 66, 770, 771, 2306, 2312};

void prepareSchemeOne(ISensorController& c)
{
    c.setParamScheme(1);
    for (int key : kTenKeys) c.setParameter(key, 60, true);
    c.setParamScheme(0);
}

void SwitchTenKeys(benchmark::State& state)
{
    ISensorController& c = channel();
    prepareSchemeOne(c);
    int scheme = 0;
    loop(state, [&] { benchmark::DoNotOptimize(c.switch_to(scheme ^= 1)); });
    c.switch_to(0);
}

void SwitchTenKeys_floor(benchmark::State& state)
{
    ISensorController& c = channel();
    prepareSchemeOne(c);
    const Replay replay = record([&] { c.switch_to(1); });
    c.switch_to(0);
    loop(state, [&] { replay.run(); });
}

void SwitchForced(benchmark::State& state)
{
    ISensorController& c = channel();
    loop(state, [&] { benchmark::DoNotOptimize(c.switch_to(0, true)); });
}

void SwitchForced_floor(benchmark::State& state)
{
    ISensorController& c = channel();
    const Replay replay = record([&] { c.switch_to(0, true); });
    loop(state, [&] { replay.run(); });
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

void SetParametersText(benchmark::State& state)
{
    ISensorController& c = channel();
    const std::string texts[2] = {fullSetText(c, 1), fullSetText(c, 0)};
    int i = 0;
    loop(state, [&] { benchmark::DoNotOptimize(c.setParameters(texts[i ^= 1], true)); });
}

void SetParametersText_floor(benchmark::State& state)
{
    ISensorController& c = channel();
    const std::string text = fullSetText(c, 1);
    const Replay replay = record([&] { c.setParameters(text, true); });
    c.setParameters(fullSetText(c, -1), true);
    loop(state, [&] { replay.run(); });
}

void GetAllParameters(benchmark::State& state)
{
    ISensorController& c = channel();
    loop(state, [&] {
        std::string text;
        benchmark::DoNotOptimize(c.getAllParameters(text));
    });
}

void GetAllParameters_floor(benchmark::State& state)
{
    ISensorController& c = channel();
    std::string text;
    const Replay replay = record([&] { c.getAllParameters(text); });
    loop(state, [&] { replay.run(); });
}

// The codecs' floor: formatting and scanning the same pairs with the C library.
void PairCodecs(benchmark::State& state)
{
    ISensorController& c = channel();
    const std::string text = fullSetText(c, 0);
    std::vector<KeyVal> set(200);
    loop(state, [&] {
        unsigned count = 0;
        keyval_str2st(text, set.data(), &count, static_cast<unsigned>(set.size()));
        std::string out;
        keyval_st2str(out, set.data(), count);
        benchmark::DoNotOptimize(out.data());
    });
}

void PairCodecs_floor(benchmark::State& state)
{
    ISensorController& c = channel();
    const std::string text = fullSetText(c, 0);
    std::vector<KeyVal> set(200);
    loop(state, [&] {
        unsigned count = 0;
        const char* p = text.c_str();
        int used = 0;
        while (count < set.size() && std::sscanf(p, "(%u,%d)%n", &set[count].key, &set[count].value, &used) == 2) {
            p += used;
            ++count;
        }
        std::string out;
        out.reserve(text.size());
        char pair[32];
        for (unsigned i = 0; i < count; ++i) {
            std::snprintf(pair, sizeof(pair), "(%u,%d)", set[i].key, set[i].value);
            out += pair;
        }
        benchmark::DoNotOptimize(out.data());
    });
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

void UIStyle(benchmark::State& state)
{
    ISensorController& c = channel();
    const std::string style = scaledStyle(static_cast<int>(state.range(0)));
    state.counters["bytes"] = static_cast<double>(style.size());
    loop(state, [&] {
        std::string out;
        if (state.range(0) == 1) {
            out = c.getUIStyleFile();
        } else {
            getDnaStyle(1, style.c_str(), out, true);
        }
        benchmark::DoNotOptimize(out.data());
    });
}

// Floor: the library's queries, one parse and one print of the same document.
void UIStyle_floor(benchmark::State& state)
{
    ISensorController& c = channel();
    const std::string style = scaledStyle(static_cast<int>(state.range(0)));
    const Replay replay = record([&] { c.getUIStyleFile(); });
    loop(state, [&] {
        replay.run();
        TiXmlDocument doc;
        doc.Parse(style.c_str());
        TiXmlPrinter printer;
        doc.Accept(&printer);
        benchmark::DoNotOptimize(printer.CStr());
    });
}

// ---------------------------------------------------------------- start-up

void InitUinit(benchmark::State& state)
{
    Camera& cam = camera();
    ISensorController c;
    c.setChannelID(1);
    c.setVideoStreamModule(&cam.video);
    loop(state, [&] {
        c.init(cam.config);
        c.uinit();
    });
}

// Floor: reading every file start-up reads, the library calls it makes, the
// style parsed and printed for the merge and for the dynamic style.
void InitUinit_floor(benchmark::State& state)
{
    Camera& cam = camera();
    ISensorController c;
    c.setChannelID(1);
    c.setVideoStreamModule(&cam.video);
    const Replay replay = record([&] {
        c.init(cam.config);
        c.uinit();
    });
    const std::string style = scaledStyle(1);
    const std::vector<std::string> files = {
        "/hd1/moduleConfig/sensorConfig/style/Style.xml", "/hd1/moduleConfig/sensorConfig/styleDiversity/StyleDiversity.xml",
        "/mnt/mtd/code/factory_setting/machineinfo.ini",  "/mnt/mtd/code/config_file/sensor1_0.cfg",
        "/mnt/mtd/code/config_file/sensor1_1.cfg",        "/mnt/mtd/code/config_file/sensor1_2.cfg",
        "/mnt/mtd/code/config_file/sensor1_3.cfg",        "/mnt/mtd/code/config_file/snsversion.cfg"};
    std::vector<char> buffer(1 << 16);
    loop(state, [&] {
        for (const std::string& name : files) {
            PLFile file;
            file.open(name.c_str(), PLFile::modeRead);
            benchmark::DoNotOptimize(file.read(buffer.data(), static_cast<unsigned>(buffer.size())));
            file.close();
        }
        for (int i = 0; i < 2; ++i) {
            TiXmlDocument doc;
            doc.Parse(style.c_str());
            TiXmlPrinter printer;
            doc.Accept(&printer);
            benchmark::DoNotOptimize(printer.CStr());
        }
        replay.run();
    });
}

void SixteenChannels_floor(benchmark::State& state)
{
    InitUinit_floor(state);
}

void SixteenChannels(benchmark::State& state)
{
    Camera& cam = camera();
    loop(state, [&] {
        std::vector<std::unique_ptr<ISensorController>> channels;
        for (int ch = 1; ch <= 16; ++ch) channels.push_back(cam.start(ch));
        for (auto& c : channels) c->uinit();
    });
}

BENCHMARK(SetParameterSkip);
BENCHMARK(SetParameterSkip_floor);
BENCHMARK(SetParameterSend);
BENCHMARK(SetParameterSend_floor);
BENCHMARK(SwitchTenKeys);
BENCHMARK(SwitchTenKeys_floor);
BENCHMARK(SwitchForced);
BENCHMARK(SwitchForced_floor);
BENCHMARK(SetParametersText);
BENCHMARK(SetParametersText_floor);
BENCHMARK(GetAllParameters);
BENCHMARK(GetAllParameters_floor);
BENCHMARK(PairCodecs);
BENCHMARK(PairCodecs_floor);
BENCHMARK(UIStyle)->Arg(1)->Arg(2)->Arg(4)->Arg(10);
BENCHMARK(UIStyle_floor)->Arg(1)->Arg(2)->Arg(4)->Arg(10);
BENCHMARK(InitUinit)->Unit(benchmark::kMillisecond);
BENCHMARK(InitUinit_floor)->Unit(benchmark::kMillisecond);
BENCHMARK(SixteenChannels)->Unit(benchmark::kMillisecond);
BENCHMARK(SixteenChannels_floor)->Unit(benchmark::kMillisecond);

// ---------------------------------------------------------------- the table

class TableReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override
    {
        for (const Run& run : runs) {
            if (run.error_occurred) continue;
            times_[run.benchmark_name()] = run.GetAdjustedRealTime() /
                                           benchmark::GetTimeUnitMultiplier(run.time_unit) * 1e9;
            order_.push_back(run.benchmark_name());
        }
    }

    void printTable(std::FILE* out) const
    {
        std::fprintf(out, "| Operation | Time | Floor | Ratio |\n|---|---:|---:|---:|\n");
        for (const std::string& name : order_) {
            if (name.find("_floor") != std::string::npos) continue;
            std::string floorName = name;
            const std::size_t slash = name.find('/');
            floorName.insert(slash == std::string::npos ? name.size() : slash, "_floor");
            const double time = times_.at(name);
            auto floor = times_.find(floorName);
            const double scale = name == "SixteenChannels" ? 16.0 : 1.0;
            if (floor == times_.end()) {
                std::fprintf(out, "| %s | %s | - | - |\n", name.c_str(), human(time).c_str());
            } else {
                std::fprintf(out, "| %s | %s | %s | %.2f |\n", name.c_str(), human(time).c_str(),
                             human(floor->second * scale).c_str(), time / (floor->second * scale));
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
    std::vector<std::string> order_;
};

// Heap held by one started channel, allocations per setParameter on both paths.
void printFootprint(std::FILE* out)
{
    Camera& cam = camera();
    const std::size_t before = mallinfo2().uordblks;
    auto c = cam.start();
    const std::size_t held = mallinfo2().uordblks - before;

    void* warm[4];
    backtrace(warm, 4);  // loads the unwinder before counting starts
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
    std::fprintf(out, "\n| Footprint | Value |\n|---|---:|\n");
    std::fprintf(out, "| heap held by one started channel | %zu bytes |\n", held);
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

}  // namespace

int main(int argc, char** argv)
{
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
    TableReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    reporter.printTable(table);
    printFootprint(table);
    std::fclose(table);
    benchmark::Shutdown();
    return 0;
}
