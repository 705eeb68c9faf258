// sensorctl as an application: the command line read once into one set of options, then one command run.
#ifndef SENSORCTL_APP_H
#define SENSORCTL_APP_H

#include <CLI/CLI.hpp>

#include <functional>
#include <string>
#include <vector>

#include "camera.h"
#include "console.h"
#include "script.h"

namespace sensorctl {

// Exit statuses, whatever the command.
enum Status { kDone = 0, kFailed = 1, kUsage = 2 };

struct Options {
    // Common to every command that runs a channel.
    std::string root;
    bool rootGiven = false;
    std::string profile;
    std::string console;
    int channel = 1;
    bool verbose = false;
    // Flags of single commands.
    bool keepRoot = false;
    bool force = false;
    bool json = false;
    bool strict = false;
    bool dynamic = false;
    int level = 7;
    std::string newRoot;
    std::string scriptFile = "-";
    std::string cfgFile;
    std::string cfgOther;
    std::string cfgPairs;
    std::string cfgKey;
    std::string cfgValue;
    std::string stylePath;
    std::string diversityPath;
    std::string detail;
    std::string listen = "127.0.0.1:8080";
    std::string token;
    std::vector<std::string> onvifUsers;
    std::string onvifUsersFile;
};

class App {
public:
    App();
    // Reads the command line; kDone/kUsage when there is nothing more to do
    // (help printed, or a usage error reported), -1 to go on with exec().
    int init(int argc, char** argv);
    int exec();
    void cleanup();

private:
    // Runs between a channel's start-up and its shutdown; results go to `out`.
    using Body = std::function<int(Script& script, sensorhost::Channel& channel, std::ostream& out)>;

    void defineCommands();
    void defineOneShot(const Script::Command& command);
    int parseError(const CLI::ParseError& e, int argc, char** argv);

    // The channel of --root and --channel brought up on the simulator for one
    // command; `body` runs between start-up and shutdown.
    int withChannel(Mode mode, Console::Target console, bool realClock, const Body& body);
    bool resolveRoot(std::string& error, std::string& hint);

    int demo();
    int profiles();
    int initRoot();
    int controls();
    int runScript();
    int shell();
    int oneShot(const std::string& line);
    int cfgDump();
    int cfgEncode();
    int cfgSet();
    int cfgDiff();
    int styleMerge();
    int diag();
    int serve();

    Options opt_;
    CLI::App cli_;
    // Each command of the command line and what runs it.
    std::vector<std::pair<CLI::App*, std::function<int()>>> commands_;
    std::function<int()> chosen_;
};

}  // namespace sensorctl

#endif
