// The script language of sensorctl: one host operation per line, one result per line.
#ifndef SENSORCTL_SCRIPT_H
#define SENSORCTL_SCRIPT_H

#include <istream>
#include <ostream>
#include <string>
#include <vector>

#include "camera.h"
#include "controls.h"

namespace sensorctl {

using Words = std::vector<std::string>;

// How a line is answered.
//   Contract: `run`. Results exactly as scripts and test harnesses have always
//             read them; a malformed line prints "error: ..." and the script goes on.
//   Strict:   `run --strict`. The same results; a malformed line or a failing
//             answer (false, negative, a flush code) stops the script.
//   People:   one-shot commands and the shell. Keys by any spelling, values
//             checked against the channel's controls first, answers without
//             the script's true/false, failures explained on the error stream.
enum class Mode { Contract, Strict, People };

enum class Outcome { Done, Failed, Malformed };

class Script {
public:
    struct Command {
        const char* name;
        void (Script::*handler)(const Words&);
        const char* usage;
        const char* help;     // what it does
        const char* example;  // one line of the script language
        // What run has always printed for a malformed line, where usage says more.
        const char* contractUsage = nullptr;
    };
    // Every command of the language, in the order help lists them.
    static const std::vector<Command>& commands();
    static const Command* find(const std::string& name);
    static void printHelp(std::ostream& out, const std::string& name);

    // People mode reads the channel's controls here, before any line runs.
    Script(sensorhost::Channel& channel, std::ostream& out, std::ostream& err, Mode mode);

    Outcome run(const std::string& line);
    // Runs every line of `in`: the exit status (1 when a line was malformed or,
    // stopping there in strict mode, failed).
    int runAll(std::istream& in);
    // The library calls and notifications printed by "isp calls" and
    // "video calls" start after this point.
    void markCalls();
    // One-shot `set` and `setparams` are saved unless nosave.
    void setSaveChanges(bool on) { saveChanges_ = on; }
    // The controls read when the channel came up (People mode).
    void setControls(const sensorhost::ControlSet& controls) { controls_ = controls; }
    const sensorhost::ControlSet& controls() const { return controls_; }

private:
    void get(const Words& w);
    void set(const Words& w);
    void params(const Words& w);
    void setparams(const Words& w);
    void getparams(const Words& w);
    void scheme(const Words& w);
    void flush(const Words& w);
    void revert(const Words& w);
    void restore(const Words& w);
    void reset(const Words& w);
    void style(const Words& w);
    void range(const Words& w);
    void shutter(const Words& w);
    void zoom(const Words& w);
    void light(const Words& w);
    void schedule(const Words& w);
    void tick(const Words& w);
    void clock(const Words& w);
    void isp(const Words& w);
    void video(const Words& w);
    void restart(const Words& w);
    void help(const Words& w);

    // The line's outcome, and what is printed for it.
    void malformed(const std::string& reason = "");
    void refuse(const std::string& why);
    void answer(bool ok, const std::string& value, const std::string& whyNot);
    void answerCode(int code, const std::string& whyNot);
    bool key(const std::string& text, int& key);
    // People mode: whether the control takes the value (or --force was given).
    bool accepts(int key, int value);
    // People's answer to a change the module took: saved first when asked to.
    void answerChange(bool nosave);
    void useSimulatedClock();

    sensorhost::Channel& channel_;
    std::ostream& out_;
    std::ostream& err_;
    Mode mode_;
    sensorhost::ControlSet controls_;
    bool saveChanges_ = false;
    std::size_t videoSeen_ = 0;
    // The line being run.
    const Command* command_ = nullptr;
    Outcome outcome_ = Outcome::Done;
    bool force_ = false;
    bool json_ = false;
};

}  // namespace sensorctl

#endif
