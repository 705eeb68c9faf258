// sy_system: the module's shell commands, run under the camera root with a real-time limit.
#include <errno.h>
#include <signal.h>
#include <spawn.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <cstring>
#include <string>
#include <vector>

#include "flash.h"
#include "hostsim.h"
#include "sy_system.h"

namespace hostsim {
namespace detail {
std::string normalisePath(const std::string& path);
void appendTrace(const std::string& line);
}  // namespace detail
}  // namespace hostsim

namespace {

bool startsWord(char c) { return std::strchr(" \t\n='\"<>|;&(", c) != NULL; }

bool endsWord(char c) { return std::strchr(" \t\n'\"<>|;&()`", c) != NULL; }

// Each absolute path that begins a word (after a blank, a line end, '=', a
// quote, a redirection or a command separator) goes under the root, normalised like
// any module path so that "/.." cannot reach the development machine's own
// files. Glob characters pass through for the shell to expand under the root.
// The root itself must be free of shell-special characters.
std::string rewriteCommand(const std::string& command)
{
    const std::string root = hostsim::root();
    if (root.empty()) return command;
    std::string out;
    std::size_t i = 0;
    while (i < command.size()) {
        if (command[i] == '/' && (i == 0 || startsWord(command[i - 1]))) {
            std::size_t end = i;
            while (end < command.size() && !endsWord(command[end])) ++end;
            std::string path = command.substr(i, end - i);
            std::string normal = hostsim::detail::normalisePath(path);
            out += root;
            if (normal != "/") out += normal;
            if (path.back() == '/') out += '/';  // "dir/" must stay a directory to cp and mv
            i = end;
        } else {
            out += command[i++];
        }
    }
    return out;
}

long long monotonicMillis()
{
    struct timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<long long>(ts.tv_sec) * 1000 + ts.tv_nsec / 1000000;
}

void sleepMillis(long ms)
{
    struct timespec ts;
    ts.tv_sec = ms / 1000;
    ts.tv_nsec = (ms % 1000) * 1000000L;
    nanosleep(&ts, NULL);
}

int statusOf(int status) { return WIFEXITED(status) ? WEXITSTATUS(status) : -1; }

// Runs the command (its paths already under the root) with /bin/sh.
int run(std::string strCommand, int p_nSeconds)
{
    char szShell[] = "/bin/sh";
    char szFlag[] = "-c";
    char* argv[] = {szShell, szFlag, &strCommand[0], NULL};

    // Spawned rather than forked: a fork copies the whole address space's
    // mappings (large under the sanitizers) for every command.
    posix_spawnattr_t attr;
    posix_spawnattr_init(&attr);
    // Its own process group, so a timeout takes the command's children too.
    posix_spawnattr_setpgroup(&attr, 0);
    posix_spawnattr_setflags(&attr, POSIX_SPAWN_SETPGROUP);
    pid_t pid = 0;
    const int spawned = posix_spawn(&pid, szShell, NULL, &attr, argv, environ);
    posix_spawnattr_destroy(&attr);
    if (spawned != 0) return -1;

    const long long deadline = p_nSeconds > 0 ? monotonicMillis() + 1000LL * p_nSeconds : -1;
    long pause = 1;
    for (;;) {
        int status = 0;
        pid_t done = waitpid(pid, &status, WNOHANG);
        if (done == pid) return statusOf(status);
        if (done < 0 && errno != EINTR) return -1;
        if (deadline >= 0 && monotonicMillis() >= deadline) {
            kill(-pid, SIGKILL);
            kill(pid, SIGKILL);
            while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
            }
            return -1;
        }
        sleepMillis(pause);
        if (pause < 10) pause *= 2;
    }
}

}  // namespace

// A limit of 0 or less waits for the command however long it takes.
int sy_system(const char* p_szCommand, int p_nSeconds)
{
    if (p_szCommand == NULL) return -1;
    hostsim::detail::appendTrace(std::string("shell ") + p_szCommand);
    // rm does not sync: each file the command deletes is an unlink that stays
    // only once its directory is synced (the next replacement of a file there).
    const std::vector<std::string> before = hostsim::detail::flashFiles();
    const int result = run(rewriteCommand(p_szCommand), p_nSeconds);
    for (const std::string& path : before) {
        if (access(path.c_str(), F_OK) != 0) hostsim::detail::flashUnlink(path);
    }
    return result;
}
