// Inside the simulated host: the shared event trace and the bound on every log the simulator keeps.
#ifndef HOSTSIM_INTERNAL_H
#define HOSTSIM_INTERNAL_H

#include <cstddef>
#include <deque>
#include <string>

namespace hostsim {
namespace detail {

void appendTrace(const std::string& line);
// setLogLimit's bound; 0 for none.
std::size_t logLimit();

// Drops the oldest entries past the bound: what a long-running host keeps of a log.
template <typename T>
void keepLast(std::deque<T>& log)
{
    const std::size_t limit = logLimit();
    while (limit != 0 && log.size() > limit) log.pop_front();
}

}  // namespace detail
}  // namespace hostsim

#endif
