// sensorctl's two outputs: its results on the real standard output, and the module's console wherever it is sent.
#ifndef SENSORCTL_CONSOLE_H
#define SENSORCTL_CONSOLE_H

#include <ostream>
#include <streambuf>
#include <string>
#include <thread>

namespace sensorctl {

// Writes straight to a file descriptor, unbuffered, so that results and the
// module's console interleave in the order they were written.
class FdBuf : public std::streambuf {
public:
    explicit FdBuf(int fd) : fd_(fd) {}

protected:
    int overflow(int c) override;
    std::streamsize xsputn(const char* s, std::streamsize n) override;

private:
    int fd_;
};

// The module prints its reports on the standard output, with colour escapes.
// sensorctl keeps the real standard output for its own results and sends the
// module's console elsewhere: nowhere, the standard error, the results
// stream itself, or a file. Escapes reach only a terminal, and never with
// NO_COLOR set; otherwise a thread filters them out on the way.
class Console {
public:
    enum class Target { Quiet, StandardError, Results, File };

    Console();
    ~Console();
    Console(const Console&) = delete;
    Console& operator=(const Console&) = delete;

    std::ostream& results() { return results_; }
    bool route(Target target, const std::string& file, std::string& error);
    // Everything the module printed has reached its target.
    void finish();

private:
    int resultsFd_;
    FdBuf resultsBuf_;
    std::ostream results_;
    int filterFd_ = -1;
    std::thread filter_;
};

}  // namespace sensorctl

#endif
