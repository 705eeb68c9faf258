// The simulated video module: records the sensor notifications and answers the capability queries.
#include <cstdio>
#include <mutex>
#include <string>
#include <vector>

#include "hostsim.h"
#include "internal.h"

namespace hostsim {

int SimVideoModule::notifySensorParam(int channel, int key, int value) const
{
    std::lock_guard<std::mutex> lock(mutex_);
    notifications_.push_back(Notification{channel, key, value});
    detail::keepLast(notifications_);
    auto it = keyResults_.find(key);
    int result = it != keyResults_.end() ? it->second : result_;
    char line[96];
    std::snprintf(line, sizeof(line), "video ch=%d key=%d val=%d ret=%d", channel, key, value, result);
    detail::appendTrace(line);
    return result;
}

void SimVideoModule::getAVStreamParams(std::vector<AVStreamParam>& params) const
{
    std::lock_guard<std::mutex> lock(mutex_);
    params.insert(params.end(), streams_.begin(), streams_.end());
}

// A channel without a configured record answers the "no limit" record.
void SimVideoModule::getLimitedFramesWDRModeParam(int channel, LimitedFramesWDRModeParam& param) const
{
    std::lock_guard<std::mutex> lock(mutex_);
    auto it = limited_.find(channel);
    param = it != limited_.end() ? it->second : LimitedFramesWDRModeParam();
}

int SimVideoModule::getVideoBusyState() const
{
    std::lock_guard<std::mutex> lock(mutex_);
    ++busyPolls_;
    if (busyLeft_ == 0) return 0;
    if (busyLeft_ > 0) --busyLeft_;
    return 1;
}

void SimVideoModule::setNotifyResult(int result)
{
    std::lock_guard<std::mutex> lock(mutex_);
    result_ = result;
}

void SimVideoModule::setNotifyResultForKey(int key, int result)
{
    std::lock_guard<std::mutex> lock(mutex_);
    keyResults_[key] = result;
}

void SimVideoModule::setStreams(const std::vector<AVStreamParam>& streams)
{
    std::lock_guard<std::mutex> lock(mutex_);
    streams_ = streams;
}

void SimVideoModule::setLimitedFrames(int channel, const LimitedFramesWDRModeParam& param)
{
    std::lock_guard<std::mutex> lock(mutex_);
    limited_[channel] = param;
}

void SimVideoModule::setBusy(int polls)
{
    std::lock_guard<std::mutex> lock(mutex_);
    busyLeft_ = polls < 0 ? -1 : polls;
}

std::vector<SimVideoModule::Notification> SimVideoModule::notifications() const
{
    std::lock_guard<std::mutex> lock(mutex_);
    return std::vector<Notification>(notifications_.begin(), notifications_.end());
}

void SimVideoModule::clearNotifications()
{
    std::lock_guard<std::mutex> lock(mutex_);
    notifications_.clear();
}

int SimVideoModule::busyPolls() const
{
    std::lock_guard<std::mutex> lock(mutex_);
    return busyPolls_;
}

}  // namespace hostsim
