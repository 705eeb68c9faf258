// The simulated image-algorithm library behind ia_ioctrl_v2: stored values, records, ranges, faults and the call log.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <string>
#include <vector>

#include "hostsim.h"
#include "ia_ioctrl.h"
#include "internal.h"

namespace hostsim {

namespace {

// What the library's caller hands in at `data`, decided by command and option
// as the real library does.
enum class Shape {
    Word,     // one s32
    Record3,  // dn_thr_st
    Record4,  // dn_time_st
    Check4,   // the sensor-check record: four s32, the result in the last
    Text,     // the 50-byte version buffer
    List,     // ia_dynamic_params_cmds_st
    Range,    // ia_dynamic_params_attr_st
};

const std::size_t kVersionBufSize = 50;

Shape shapeOf(std::uint32_t cmd, std::uint32_t option)
{
    if (option == IA_CMD_OPT_GET_PARAM_RNAGE) return Shape::Range;
    // A correction works on the one value it is handed, and an execution
    // status is one word, whatever the command carries otherwise.
    if (option == IA_CMD_OPT_CORRECT_PARAM || option == IA_CMD_OPT_GET_EXEC_STATUS) return Shape::Word;
    switch (cmd) {
    case IA_CMD_DYNAMIC_PARAMS_CMDS_GET:
        return Shape::List;
    case IA_CMD_DTN_THR:
    case IA_CMD_NTD_THR:
    case IA_CMD_DN_SENSITIVITY:
        return Shape::Record3;
    case IA_CMD_DTN_H:
    case IA_CMD_DTN_M:
    case IA_CMD_NTD_H:
    case IA_CMD_NTD_M:
        return Shape::Record4;
    case IA_CMD_SENSOR_CHECK:
        return Shape::Check4;
    case IA_CMD_CAMERA_VERSION:
        return option == IA_CMD_OPT_GET ? Shape::Text : Shape::Word;
    default:
        return Shape::Word;
    }
}

// Words logged as `in`. The list, the range record and the text buffer log
// none: what the caller hands in there is scratch space, and 69 words of it
// per call would bury the calls that matter.
std::size_t wordsOf(Shape shape)
{
    switch (shape) {
    case Shape::Word:
        return 1;
    case Shape::Record3:
        return 3;
    case Shape::Record4:
    case Shape::Check4:
        return 4;
    default:
        return 0;
    }
}

// Bytes of the caller's data that the library reads and may fill.
std::size_t bytesOf(Shape shape)
{
    switch (shape) {
    case Shape::Text:
        return kVersionBufSize;
    case Shape::List:
        return sizeof(ia_dynamic_params_cmds_st);
    case Shape::Range:
        return sizeof(ia_dynamic_params_attr_st);
    default:
        return wordsOf(shape) * sizeof(std::int32_t);
    }
}

std::vector<std::int32_t> readWords(const void* data, std::size_t n)
{
    std::vector<std::int32_t> words(n);
    if (n > 0) std::memcpy(words.data(), data, n * sizeof(std::int32_t));
    return words;
}

void writeWords(void* data, const std::vector<std::int32_t>& words)
{
    if (!words.empty()) std::memcpy(data, words.data(), words.size() * sizeof(std::int32_t));
}

int itemCount(const ia_dynamic_params_attr_st& range)
{
    if (range.items_cnt < 0) return 0;
    return range.items_cnt > IA_DYNAMIC_ITEMS_MAX ? IA_DYNAMIC_ITEMS_MAX : range.items_cnt;
}

std::vector<std::int32_t> rangeWords(const ia_dynamic_params_attr_st& range)
{
    std::vector<std::int32_t> words = {range.type, range.def_val, range.min_val, range.max_val, range.items_cnt};
    words.insert(words.end(), range.item, range.item + itemCount(range));
    return words;
}

// A list range (type 0 with items) snaps to the nearest item, the lower one on
// a tie; any other range clamps to [min, max].
std::int32_t corrected(const ia_dynamic_params_attr_st& range, std::int32_t value)
{
    const int n = itemCount(range);
    if (range.type == 0 && n > 0) {
        std::int32_t best = range.item[0];
        long long bestDist = std::llabs(static_cast<long long>(value) - best);
        for (int i = 1; i < n; ++i) {
            long long dist = std::llabs(static_cast<long long>(value) - range.item[i]);
            if (dist < bestDist || (dist == bestDist && range.item[i] < best)) {
                best = range.item[i];
                bestDist = dist;
            }
        }
        return best;
    }
    if (value < range.min_val) return range.min_val;
    if (value > range.max_val) return range.max_val;
    return value;
}

std::string joinWords(const std::vector<std::int32_t>& words)
{
    std::string out;
    for (std::size_t i = 0; i < words.size(); ++i) {
        if (i > 0) out += ',';
        out += std::to_string(words[i]);
    }
    return out;
}

}  // namespace

SimIsp& SimIsp::instance()
{
    static SimIsp isp;
    return isp;
}

void SimIsp::reset()
{
    std::lock_guard<std::mutex> lock(mutex_);
    channels_.clear();
    faults_.clear();
    nthCountdown_ = 0;
    nthResult_ = -1;
    calls_.clear();
}

SimIsp::Channel& SimIsp::chan(int channel) { return channels_[channel]; }

const SimIsp::Channel* SimIsp::findChan(int channel) const
{
    auto it = channels_.find(channel);
    return it != channels_.end() ? &it->second : nullptr;
}

void SimIsp::setDefault(int channel, std::uint32_t cmd, std::int32_t value)
{
    std::lock_guard<std::mutex> lock(mutex_);
    chan(channel).defaults[cmd] = value;
}

void SimIsp::setValue(int channel, std::uint32_t cmd, std::int32_t value)
{
    std::lock_guard<std::mutex> lock(mutex_);
    chan(channel).values[cmd] = value;
}

bool SimIsp::hasValue(int channel, std::uint32_t cmd) const
{
    std::lock_guard<std::mutex> lock(mutex_);
    const Channel* ch = findChan(channel);
    return ch != nullptr && ch->values.count(cmd) != 0;
}

std::int32_t SimIsp::value(int channel, std::uint32_t cmd) const
{
    std::lock_guard<std::mutex> lock(mutex_);
    const Channel* ch = findChan(channel);
    if (ch == nullptr) return 0;
    auto it = ch->values.find(cmd);
    if (it != ch->values.end()) return it->second;
    auto def = ch->defaults.find(cmd);
    return def != ch->defaults.end() ? def->second : 0;
}

std::vector<std::int32_t> SimIsp::record(int channel, std::uint32_t cmd) const
{
    std::lock_guard<std::mutex> lock(mutex_);
    const Channel* ch = findChan(channel);
    if (ch == nullptr) return {};
    auto it = ch->records.find(cmd);
    return it != ch->records.end() ? it->second : std::vector<std::int32_t>();
}

void SimIsp::setDynamicCommands(int channel, const std::vector<std::uint32_t>& cmds)
{
    std::lock_guard<std::mutex> lock(mutex_);
    chan(channel).dynamicCmds = cmds;
}

void SimIsp::setCommandCount(int channel, std::int32_t count)
{
    std::lock_guard<std::mutex> lock(mutex_);
    Channel& ch = chan(channel);
    ch.countOverride = true;
    ch.count = count;
}

void SimIsp::setRange(int channel, std::uint32_t cmd, const ia_dynamic_params_attr_st& range)
{
    std::lock_guard<std::mutex> lock(mutex_);
    chan(channel).ranges[cmd] = range;
}

void SimIsp::setDayNight(int channel, int state) { setValue(channel, IA_CMD_DN_STATE, state); }

void SimIsp::setExecStatus(int channel, std::uint32_t cmd, std::int32_t status)
{
    std::lock_guard<std::mutex> lock(mutex_);
    chan(channel).execStatus[cmd] = status;
}

void SimIsp::setVersionText(int channel, const std::string& text)
{
    std::lock_guard<std::mutex> lock(mutex_);
    chan(channel).versionText = text;
}

void SimIsp::setSensorCheckResult(int channel, std::int32_t result)
{
    std::lock_guard<std::mutex> lock(mutex_);
    chan(channel).checkResult = result;
}

void SimIsp::setHeatStatus(int channel, std::int32_t value) { setValue(channel, IA_CMD_HEAT_STATUS, value); }

void SimIsp::addFault(const IspFault& fault)
{
    std::lock_guard<std::mutex> lock(mutex_);
    faults_.push_back(fault);
}

void SimIsp::failNthCall(int n, int result)
{
    std::lock_guard<std::mutex> lock(mutex_);
    nthCountdown_ = n > 0 ? n : 0;
    nthResult_ = result;
}

void SimIsp::clearFaultsFor(std::uint32_t cmd)
{
    std::lock_guard<std::mutex> lock(mutex_);
    std::vector<IspFault> kept;
    for (const IspFault& fault : faults_) {
        if (fault.cmd != static_cast<std::int64_t>(cmd)) kept.push_back(fault);
    }
    faults_.swap(kept);
}

void SimIsp::clearFaults()
{
    std::lock_guard<std::mutex> lock(mutex_);
    faults_.clear();
    nthCountdown_ = 0;
    nthResult_ = -1;
}

std::vector<IspCall> SimIsp::calls() const
{
    std::lock_guard<std::mutex> lock(mutex_);
    return std::vector<IspCall>(calls_.begin(), calls_.end());
}

void SimIsp::clearCalls()
{
    std::lock_guard<std::mutex> lock(mutex_);
    calls_.clear();
}

std::size_t SimIsp::callCount() const
{
    std::lock_guard<std::mutex> lock(mutex_);
    return calls_.size();
}

// The n-th-call countdown sees every call and wins over the rules; of the
// rules, the first that matches and is not used up decides: it lets its
// `skip` calls through, then fails `count` times (-1: for ever).
bool SimIsp::takeFault(int channel, std::uint32_t cmd, std::uint32_t option, int& result)
{
    if (nthCountdown_ > 0 && --nthCountdown_ == 0) {
        result = nthResult_;
        return true;
    }
    for (IspFault& fault : faults_) {
        if (fault.count == 0) continue;
        if (fault.channel != -1 && fault.channel != channel) continue;
        if (fault.cmd != -1 && fault.cmd != static_cast<std::int64_t>(cmd)) continue;
        if (fault.option != -1 && fault.option != static_cast<std::int64_t>(option)) continue;
        if (fault.skip > 0) {
            --fault.skip;
            return false;
        }
        if (fault.count > 0) --fault.count;
        result = fault.result;
        return true;
    }
    return false;
}

int SimIsp::ioctrl(int channel, std::uint32_t cmd, std::uint32_t option, void* data)
{
    std::lock_guard<std::mutex> lock(mutex_);
    const Shape shape = shapeOf(cmd, option);
    IspCall call{channel, cmd, option, {}, {}, 0};
    if (data != nullptr) {
        // The library takes the whole of what the command carries, as the
        // real one does, so a caller that hands in less room than that is
        // caught here (AddressSanitizer sees the read) and not on a camera.
        std::vector<unsigned char> whole(bytesOf(shape));
        std::memcpy(whole.data(), data, whole.size());
        call.in = readWords(whole.data(), wordsOf(shape));
    }
    // A failed call leaves the caller's data and the library untouched.
    call.out = call.in;
    std::string text;
    bool showText = false;

    if (takeFault(channel, cmd, option, call.result)) {
    } else if (data == nullptr) {
        call.result = -1;
    } else {
        Channel& ch = chan(channel);
        std::vector<std::int32_t> words = call.in;
        switch (option) {
        case IA_CMD_OPT_SET:
            if (shape == Shape::List) {
                call.result = -1;  // the list is the library's to give, not to take
            } else if (shape == Shape::Record3 || shape == Shape::Record4) {
                ch.records[cmd] = words;
            } else if (shape == Shape::Word) {
                ch.values[cmd] = words[0];
            }  // a sensor-check request starts the check; nothing to keep
            break;
        case IA_CMD_OPT_GET:
            if (shape == Shape::List) {
                ia_dynamic_params_cmds_st list;
                std::memset(&list, 0, sizeof(list));
                std::size_t n = ch.dynamicCmds.size() < IA_DYNAMIC_CMDS_MAX ? ch.dynamicCmds.size()
                                                                             : IA_DYNAMIC_CMDS_MAX;
                std::copy(ch.dynamicCmds.begin(), ch.dynamicCmds.begin() + n, list.cmd_list);
                list.cmd_cnt = ch.countOverride ? ch.count : static_cast<s32>(ch.dynamicCmds.size());
                std::memcpy(data, &list, sizeof(list));
                call.out.assign(1, list.cmd_cnt);
                call.out.insert(call.out.end(), list.cmd_list, list.cmd_list + n);
                break;
            }
            if (shape == Shape::Text) {
                char buf[kVersionBufSize] = {};
                std::strncpy(buf, ch.versionText.c_str(), kVersionBufSize - 1);
                std::memcpy(data, buf, kVersionBufSize);
                text = buf;
                showText = true;
                break;
            }
            if (shape == Shape::Check4) {
                words[3] = ch.checkResult;
            } else if (shape == Shape::Record3 || shape == Shape::Record4) {
                auto it = ch.records.find(cmd);
                std::vector<std::int32_t> stored = it != ch.records.end() ? it->second : std::vector<std::int32_t>();
                stored.resize(words.size(), 0);
                words = stored;
            } else {
                auto it = ch.values.find(cmd);
                auto def = ch.defaults.find(cmd);
                words[0] = it != ch.values.end() ? it->second : (def != ch.defaults.end() ? def->second : 0);
            }
            writeWords(data, words);
            call.out = words;
            break;
        case IA_CMD_OPT_GET_PARAM_RNAGE: {
            auto it = ch.ranges.find(cmd);
            if (it == ch.ranges.end()) {
                call.result = -1;
                break;
            }
            std::memcpy(data, &it->second, sizeof(ia_dynamic_params_attr_st));
            call.out = rangeWords(it->second);
            break;
        }
        case IA_CMD_OPT_CORRECT_PARAM: {
            if (shape == Shape::List) {
                call.result = -1;
                break;
            }
            auto it = ch.ranges.find(cmd);
            if (it != ch.ranges.end()) words[0] = corrected(it->second, words[0]);
            writeWords(data, words);
            call.out = words;
            break;
        }
        case IA_CMD_OPT_GET_EXEC_STATUS: {
            if (shape == Shape::List) {
                call.result = -1;
                break;
            }
            auto it = ch.execStatus.find(cmd);
            words[0] = it != ch.execStatus.end() ? it->second : 0;
            writeWords(data, words);
            call.out = words;
            break;
        }
        default:
            call.result = -1;
            break;
        }
    }

    char head[96];
    std::snprintf(head, sizeof(head), "ia ch=%d cmd=%u opt=%u in=[", channel, static_cast<unsigned>(cmd),
                  static_cast<unsigned>(option));
    std::string line = head + joinWords(call.in) + "] ret=" + std::to_string(call.result);
    if (showText) line += " text=\"" + text + "\"";
    detail::appendTrace(line);
    calls_.push_back(call);
    detail::keepLast(calls_);
    return call.result;
}

}  // namespace hostsim

extern "C" int ia_ioctrl_v2(int p_nChannel, ia_cmd_e p_eCmd, unsigned int p_nOption, void* p_pData)
{
    return hostsim::SimIsp::instance().ioctrl(p_nChannel, static_cast<std::uint32_t>(p_eCmd), p_nOption, p_pData);
}
