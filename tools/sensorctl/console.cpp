// sensorctl's results and the module's console.
#include "console.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace sensorctl {

namespace {

bool writeAll(int fd, const char* data, std::size_t size)
{
    while (size > 0) {
        const ssize_t written = ::write(fd, data, size);
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) return false;
        data += written;
        size -= static_cast<std::size_t>(written);
    }
    return true;
}

// Copies `from` to `to` without the terminal's control sequences (ESC [
// parameters final-byte), which may be cut anywhere between two reads.
void copyWithoutEscapes(int from, int to)
{
    enum { Text, Escape, Sequence } state = Text;
    char in[4096];
    char out[4096];
    for (ssize_t n; (n = ::read(from, in, sizeof(in))) != 0;) {
        if (n < 0) {
            if (errno == EINTR) continue;
            break;
        }
        std::size_t kept = 0;
        for (ssize_t i = 0; i < n; ++i) {
            const unsigned char c = static_cast<unsigned char>(in[i]);
            if (state == Text && c == 0x1b) {
                state = Escape;
            } else if (state == Escape) {
                state = c == '[' ? Sequence : Text;
            } else if (state == Sequence) {
                if (c >= 0x40 && c <= 0x7e) state = Text;
            } else {
                out[kept++] = in[i];
            }
        }
        writeAll(to, out, kept);
    }
    ::close(from);
}

}  // namespace

int FdBuf::overflow(int c)
{
    if (c == EOF) return 0;
    const char ch = static_cast<char>(c);
    return writeAll(fd_, &ch, 1) ? c : EOF;
}

std::streamsize FdBuf::xsputn(const char* s, std::streamsize n)
{
    return writeAll(fd_, s, static_cast<std::size_t>(n)) ? n : 0;
}

Console::Console() : resultsFd_(::dup(STDOUT_FILENO)), resultsBuf_(resultsFd_), results_(&resultsBuf_) {}

Console::~Console()
{
    finish();
    ::close(resultsFd_);
}

bool Console::route(Target target, const std::string& file, std::string& error)
{
    std::fflush(stdout);
    int fd = -1;
    switch (target) {
    case Target::Quiet: fd = ::open("/dev/null", O_WRONLY); break;
    case Target::StandardError: fd = ::dup(STDERR_FILENO); break;
    case Target::Results: fd = ::dup(resultsFd_); break;
    case Target::File: fd = ::open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644); break;
    }
    if (fd < 0) {
        error = "cannot write the console file " + file + ": " + std::strerror(errno);
        return false;
    }
    const char* noColor = std::getenv("NO_COLOR");
    const bool colour = target != Target::Quiet && ::isatty(fd) && (noColor == nullptr || *noColor == '\0');
    if (colour || target == Target::Quiet) {
        ::dup2(fd, STDOUT_FILENO);
        ::close(fd);
        return true;
    }
    int pipeFds[2];
    if (::pipe(pipeFds) != 0) {
        error = std::string("cannot filter the console: ") + std::strerror(errno);
        ::close(fd);
        return false;
    }
    ::dup2(pipeFds[1], STDOUT_FILENO);
    ::close(pipeFds[1]);
    filterFd_ = fd;
    filter_ = std::thread([from = pipeFds[0], to = fd] { copyWithoutEscapes(from, to); });
    return true;
}

void Console::finish()
{
    std::fflush(stdout);
    if (!filter_.joinable()) return;
    // The filter ends when no copy of the pipe's writing end is left open.
    const int null = ::open("/dev/null", O_WRONLY);
    ::dup2(null, STDOUT_FILENO);
    ::close(null);
    filter_.join();
    ::close(filterFd_);
    filterFd_ = -1;
}

}  // namespace sensorctl
