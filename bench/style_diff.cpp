// Differential run of the module's text work: prints, for a fixed series of
// inputs, everything the style, factory-set, merge, pair-text and apply paths
// produce (results, the library trace, the console and the error log), so that
// two builds of the module can be compared byte for byte:
//
//   style_diff PROFILES_DIR CASES SEED >out.txt
//
// scripts/style-diff.sh builds a given revision beside the current tree and
// compares the two outputs.
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "ISensorController.h"
#include "ModuleConfigure.h"
#include "SensorFile.h"
#include "SensorKeyVal.h"
#include "hostsim.h"

namespace fs = std::filesystem;

namespace {

std::string readFile(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    std::stringstream whole;
    whole << in.rdbuf();
    return whole.str();
}

void writeFile(const std::string& path, const std::string& bytes)
{
    std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
}

// Everything printed goes through C stdio, as the module's console does, so the two interleave in order.
void put(const std::string& text)
{
    std::fwrite(text.data(), 1, text.size(), stdout);
}

void putf(const char* format, long a = 0, long b = 0)
{
    std::printf(format, a, b);
}

class Host {
public:
    explicit Host(const std::string& profiles) : profiles_(profiles)
    {
        root_ = (fs::temp_directory_path() / "style-diff-XXXXXX").string();
        if (::mkdtemp(root_.data()) == nullptr) std::abort();
        reset();
    }
    ~Host() { fs::remove_all(root_); }

    void reset()
    {
        std::string error;
        if (!hostsim::installProfile(profiles_ + "/bullet", root_, error)) std::abort();
        hostsim::setRoot(root_);
        hostsim::resetAll();
        hostsim::setThreadsHeld(true);
        if (!hostsim::loadSimProfile(root_ + "/sim.ini", video_, error)) std::abort();
        video_.clearNotifications();
    }

    void setDebugLevel(int level) { writeFile(root_ + "/tmp/Debug.sign", std::to_string(level) + "\n0\n"); }
    std::string path(const std::string& cameraPath) const { return root_ + cameraPath; }
    hostsim::SimVideoModule& video() { return video_; }

    // The library calls and notifications so far, then the error log; both emptied.
    void flushRecords()
    {
        std::fflush(stdout);
        for (const std::string& line : hostsim::trace()) put("  | " + line + "\n");
        hostsim::clearTrace();
        hostsim::SimIsp::instance().clearCalls();
        video_.clearNotifications();
        std::error_code none;
        for (const auto& entry : fs::directory_iterator(root_ + "/mnt/mtd/log", none)) {
            put("  log " + entry.path().filename().string() + ":\n" + readFile(entry.path().string()) + "\n");
            fs::remove(entry.path());
        }
    }

private:
    std::string profiles_;
    std::string root_;
    hostsim::SimVideoModule video_;
};

// ---------------------------------------------------------------- styles

// The style repeated `times` times: a camera family with that many more parameters.
std::string scaled(const std::string& style, int times)
{
    const std::size_t first = style.find("<tab ");
    const std::size_t end = style.rfind("</style>");
    if (times == 1 || first == std::string::npos || end == std::string::npos || end < first) return style;
    std::string out = style.substr(0, first);
    for (int i = 0; i < times; ++i) out += style.substr(first, end - first);
    return out + style.substr(end);
}

const std::vector<std::string> kTokens = {
    "\"", "'", "&", "&amp;", "&lt;", "&gt;", "&quot;", "&apos;", "&#x41;", "&#65;", "&#x0;", "&#x1F;", "&#xd;",
    "&#x", "&#xC3;", "\xC3", "\xC3\xA9", "\xE2\x82\xAC", "\xE2\x82", "\xF0\x9F\x98\x80", "\xFF", "\x80", "\x01", "\t",
    "\r\n", "\r", " ", "<", ">", "/>", "</tab>", "<tab key=\"x\">", "<![CDATA[x]]>", "<![CDATA[a&b<c>\"]]>",
    "<!-- c -->", "<!--x-->", "<?xml version=\"1.0\"?>", "<?xml version='1&amp;0' encoding=\"x\" standalone=\"no\"?>",
    "<?xml version=\"a\xC3\"?>", "<!DOCTYPE style>", "<x/>", "<x>t</x>", "<x>a<y/>b</x>", "<x><![CDATA[q]]></x>",
    "<param id=\"10\" value=\"1\"/>", "<param id=\"11\" value=\"2\"><param id=\"10\" value=\"3\"/></param>",
    "<param id=\"49\" value=\"203\"><option index=\"1\"/><option index=\"2\"/><option index=\"8\"/></param>",
    "<param id=\"50\" value=\"30\"/>", "<param id=\"1537\" value=\"100\"/>", "<param id=\"16\" value=\"1\"><x/></param>",
    "<option/>", "<option index=\"7\"/>", "<option index=\" 2\"/>", "text", " id=\"34\"", " id=\" 34\"", " id=\"+16\"",
    " id=\"016\"", " id=\"16abc\"", " id=\"99999999999\"", " id=\"-5\"", " value=\"7\"", " value='a\"b'",
    " value=\"&#x31;\"", " index=\"1\"", " enable_list=\"1\"", "\xEF\xBB\xBF",
};

std::string mutate(std::string text, std::mt19937& rng)
{
    auto pick = [&rng](std::size_t n) { return n == 0 ? 0 : std::uniform_int_distribution<std::size_t>(0, n - 1)(rng); };
    const int steps = 1 + static_cast<int>(pick(4));
    for (int s = 0; s < steps && !text.empty(); ++s) {
        std::size_t at = pick(text.size() + 1);
        // Half the time right after a blank or a quote: inside tags, where most rules live.
        if (pick(2) == 0) {
            const std::size_t near = text.find_first_of(" \"", at);
            if (near != std::string::npos) at = near + 1;
        }
        switch (pick(7)) {
        case 0:
        case 1:
            text.insert(at, kTokens[pick(kTokens.size())]);
            break;
        case 2:
            text.erase(std::min(at, text.size()), 1 + pick(40));
            break;
        case 3: {
            const std::size_t from = pick(text.size());
            text.insert(at, text.substr(from, 1 + pick(300)));
            break;
        }
        case 4:
            text.resize(at);
            break;
        case 5: {
            const std::size_t digit = text.find_first_of("0123456789", at);
            if (digit != std::string::npos) text[digit] = static_cast<char>('0' + pick(10));
            break;
        }
        default: {
            const char* names[] = {"id=", "index=", "value="};
            const std::size_t name = text.find(names[pick(3)], at);
            if (name != std::string::npos) text[name] = 'q';
            break;
        }
        }
    }
    return text;
}

// A random run-time range list for the simulated library, sometimes with failing queries.
void randomLibrary(std::mt19937& rng)
{
    auto pick = [&rng](int n) { return std::uniform_int_distribution<int>(0, n - 1)(rng); };
    hostsim::SimIsp& isp = hostsim::SimIsp::instance();
    const std::uint32_t pool[] = {16, 49, 50, 768, 2368, 2528, 1537, 2337, 34, 10, 11, 112, 128, 2384, 8000, 96, 4112, 7};
    std::vector<std::uint32_t> cmds;
    const int count = pick(19);
    for (int i = 0; i < count; ++i) {
        const std::uint32_t cmd = pool[pick(sizeof(pool) / sizeof(pool[0]))];
        cmds.push_back(cmd);
        ia_dynamic_params_attr_st range;
        std::memset(&range, 0, sizeof(range));
        range.type = pick(4) == 0 ? 1 : 0;
        range.items_cnt = pick(8) == 0 ? (pick(2) == 0 ? -3 : 90) : pick(14);
        for (int k = 0; k < IA_DYNAMIC_ITEMS_MAX; ++k) range.item[k] = pick(3) == 0 ? pick(300) : pick(13);
        range.def_val = pick(2) == 0 ? range.item[0] : pick(300) - 20;
        range.min_val = pick(5);
        range.max_val = 5 + pick(300);
        isp.setRange(0, cmd, range);
    }
    isp.setDynamicCommands(0, cmds);
    if (pick(10) == 0) isp.setCommandCount(0, pick(2) == 0 ? -1 : 40);
    if (pick(8) == 0) {
        hostsim::IspFault fault;
        fault.cmd = pick(2) == 0 ? 4112 : static_cast<std::int64_t>(cmds.empty() ? 49 : cmds[pick(cmds.size())]);
        fault.option = fault.cmd == 4112 ? 1 : 2;
        fault.skip = pick(3);
        isp.addFault(fault);
    }
}

// The dynamic style, the factory set and the merge of one style text.
void styleCase(Host& host, const std::string& style, const std::string& diversity, bool showWdr, bool beaway)
{
    setshowBeawayFalg(beaway);
    putf("dyn wdr=%ld beaway=%ld\n", showWdr, beaway);
    std::string out;
    putf("ret=%ld\n", getDnaStyle(1, style.c_str(), out, showWdr));
    putf("text %ld bytes:\n", static_cast<long>(out.size()));
    put(out + "\n");
    host.flushRecords();

    std::vector<char> text(style.begin(), style.end());
    text.push_back('\0');
    KeyVal set[SENSOR_FCT_KEYVAL_MAX];
    std::memset(set, 0, sizeof(set));
    u32 count = 0;
    putf("fct ret=%ld", getFctData(1, text.data(), set, &count, showWdr));
    putf(" count=%ld\n", count);
    std::string pairs;
    keyval_st2str(pairs, set, count);
    put(pairs + "\n");
    host.flushRecords();

    ModuleConfig config;
    std::memset(&config, 0, sizeof(config));
    std::snprintf(config.szDetail, sizeof(config.szDetail), "%s",
                  beaway ? "(max_scheme=4)(isInfrared=0)(lensId=0)(lensType=STD)(sensor=IMX334)"
                         : "(max_scheme=4)(isInfrared=1)(lensId=3)(lensType=STD)(sensor=IMX334)");
    char* merged = static_cast<char*>(std::malloc(style.size() + 1));
    std::memcpy(merged, style.c_str(), style.size() + 1);
    std::vector<char> div(diversity.begin(), diversity.end());
    div.push_back('\0');
    putf("merge ret=%ld\n", mergeStyle(1, &config, &merged, div.data()));
    put(std::string("merged:\n") + merged + "\nfile:\n" + readFile(host.path("/tmp/merge_style_ch1.xml")) + "\n");
    std::free(merged);
    host.flushRecords();
}

// ---------------------------------------------------------------- pair texts

std::string randomPairText(std::mt19937& rng)
{
    auto pick = [&rng](int n) { return std::uniform_int_distribution<int>(0, n - 1)(rng); };
    const char* junk[] = {"(", ")", ",", " ", "x", "-", "+", "((", "))", ")(", "\t", "(,", ",)", "\n", "\xC3"};
    const char* numbers[] = {"0", "34", "-1", "+7", " 12", "  -3", "2147483647", "2147483648", "-2147483648",
                             "-2147483649", "99999999999999", "0000000042", "123456789", "1234567890", "-", "+", "",
                             "1 2", "3x"};
    std::string text;
    const int parts = pick(30);
    for (int i = 0; i < parts; ++i) {
        switch (pick(4)) {
        case 0:
            text += junk[pick(sizeof(junk) / sizeof(junk[0]))];
            break;
        case 1:
            text += std::string("(") + numbers[pick(sizeof(numbers) / sizeof(numbers[0]))] + "," +
                    numbers[pick(sizeof(numbers) / sizeof(numbers[0]))] + ")";
            break;
        default:
            text += "(" + std::to_string(pick(9000)) + "," + std::to_string(pick(400) - 100) + ")";
            break;
        }
    }
    return text;
}

void pairCase(Host& host, const std::string& text, unsigned capacity)
{
    std::vector<KeyVal> set(capacity + 1, KeyVal{7, 7});
    unsigned count = 12345;
    put("pairs [" + text + "]");
    putf(" capacity=%ld", capacity);
    putf(" ret=%ld", keyval_str2st(text, set.data(), &count, capacity));
    putf(" count=%ld\n", count);
    std::string out;
    keyval_st2str(out, set.data(), capacity + 1);
    put(out + "\n");
    host.flushRecords();
}

// ---------------------------------------------------------------- applies

std::string setText(ISensorController& c)
{
    std::string all;
    c.getAllParameters(all);
    return all;
}

// A pair list to apply: the set in force with changes, in its order or shuffled, or a few keys of interest.
std::string randomApply(ISensorController& c, std::mt19937& rng)
{
    auto pick = [&rng](int n) { return std::uniform_int_distribution<int>(0, n - 1)(rng); };
    std::vector<KeyVal> set(200);
    unsigned count = 0;
    keyval_str2st(setText(c), set.data(), &count, static_cast<unsigned>(set.size()));
    set.resize(count);
    const u32 special[] = {224, 161, 168, 163, 200, 167, 202, 171, 175, 8000, 8001, 8003, 144, 145, 10, 11, 49, 777, 2384};
    switch (pick(4)) {
    case 0:
        break;
    case 1:
        std::shuffle(set.begin(), set.end(), rng);
        break;
    case 2:
        set.resize(static_cast<std::size_t>(pick(static_cast<int>(set.size()) + 1)));
        break;
    default:
        set.clear();
        for (int i = pick(12); i > 0; --i) set.push_back(KeyVal{special[pick(sizeof(special) / sizeof(special[0]))], 0});
        break;
    }
    for (KeyVal& entry : set) {
        if (pick(6) == 0) entry.value = pick(4) == 0 ? pick(5) : pick(120) - 10;
        if (pick(40) == 0) entry.key = special[pick(sizeof(special) / sizeof(special[0]))];
    }
    std::string text;
    keyval_st2str(text, set.data(), static_cast<unsigned>(set.size()));
    return text;
}

void applyRun(Host& host, const std::string& style, int steps, std::mt19937& rng)
{
    auto pick = [&rng](int n) { return std::uniform_int_distribution<int>(0, n - 1)(rng); };
    host.reset();
    host.setDebugLevel(pick(2) == 0 ? 1 : 7);
    writeFile(host.path("/hd1/moduleConfig/sensorConfig/style/Style.xml"), style);
    ModuleConfigure config;
    config.setModuleId(334);
    config.setDetail("(max_scheme=4)(isInfrared=1)(lensId=3)(lensType=STD)(sensor=IMX334)");
    auto c = std::make_unique<ISensorController>();
    c->setChannelID(1);
    c->setVideoStreamModule(&host.video());
    putf("init %ld\n", c->init(config));
    host.flushRecords();
    for (int step = 0; step < steps; ++step) {
        switch (pick(5)) {
        case 0:
        case 1: {
            const std::string text = randomApply(*c, rng);
            const bool save = pick(4) != 0;
            put("apply " + text);
            putf(" save=%ld ret=%ld\n", save, c->setParameters(text, save));
            break;
        }
        case 2: {
            const int scheme = pick(5);
            const bool force = pick(3) == 0;
            putf("switch %ld force=%ld", scheme, force);
            putf(" ret=%ld\n", c->switch_to(scheme, force));
            break;
        }
        case 3:
            putf("scheme ret=%ld\n", c->setParamScheme(pick(5)));
            break;
        default:
            putf("set ret=%ld\n", c->setParameter(pick(2) == 0 ? 224 : 34, pick(4), pick(2) == 0));
            break;
        }
        put("all " + setText(*c) + "\n");
        host.flushRecords();
    }
    c->uinit();
    host.flushRecords();
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc != 4) {
        std::fprintf(stderr, "usage: style_diff PROFILES_DIR CASES SEED\n");
        return 2;
    }
    const std::string profiles = argv[1];
    const int cases = std::atoi(argv[2]);
    std::mt19937 rng(static_cast<unsigned>(std::atol(argv[3])));
    auto pick = [&rng](int n) { return std::uniform_int_distribution<int>(0, n - 1)(rng); };

    Host host(profiles);
    const std::vector<std::string> styles = {readFile(profiles + "/style/Style.xml"),
                                             readFile(profiles + "/style/Style_dome.xml"),
                                             readFile(profiles + "/style/Style_Thermal.xml")};
    const std::vector<std::string> diversities = {readFile(profiles + "/styleDiversity/StyleDiversity.xml"),
                                                  readFile(profiles + "/styleDiversity/StyleDiversity_dome.xml"),
                                                  readFile(profiles + "/styleDiversity/StyleDiversity_Thermal.xml")};

    // The bundled styles at every size, with the bundled library, every flag and two levels.
    for (std::size_t s = 0; s < styles.size(); ++s) {
        for (int times : {1, 2, 4, 10}) {
            for (int level : {1, 7}) {
                for (int flags = 0; flags < 4; ++flags) {
                    host.reset();
                    host.setDebugLevel(level);
                    putf("=== bundled %ld x%ld", static_cast<long>(s), times);
                    putf(" level %ld flags %ld\n", level, flags);
                    styleCase(host, scaled(styles[s], times), diversities[s], (flags & 1) != 0, (flags & 2) != 0);
                }
            }
        }
    }
    // Mutated styles and diversities with random library ranges.
    for (int i = 0; i < cases; ++i) {
        host.reset();
        const int levels[] = {1, 6, 7, -1};
        host.setDebugLevel(levels[pick(4)]);
        randomLibrary(rng);
        const std::size_t s = static_cast<std::size_t>(pick(3));
        const std::string style = mutate(scaled(styles[s], pick(4) == 0 ? 2 : 1), rng);
        const std::string diversity = pick(4) == 0 ? mutate(diversities[s], rng) : diversities[s];
        putf("=== mutated %ld\n", i);
        styleCase(host, style, diversity, pick(2) == 0, pick(2) == 0);
    }
    // Pair texts.
    for (int i = 0; i < cases; ++i) {
        host.reset();
        host.setDebugLevel(i % 2 == 0 ? 1 : 7);
        pairCase(host, randomPairText(rng), static_cast<unsigned>(pick(40)));
    }
    // Applies on a camera whose style gives unique keys, and on one that repeats some.
    std::string repeated = styles[0];
    const std::size_t image = repeated.find("<tab key=\"image\"");
    const std::size_t imageEnd = repeated.find("</tab>", image) + 6;
    repeated.insert(repeated.rfind("</style>"), repeated.substr(image, imageEnd - image));
    for (int run = 0; run < std::max(2, cases / 50); ++run) {
        putf("=== apply run %ld\n", run);
        applyRun(host, run % 2 == 0 ? styles[0] : repeated, 40, rng);
    }
    std::fflush(stdout);
    return 0;
}
