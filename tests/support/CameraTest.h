// Tests on a bundled simulated camera: its root, its simulated library and video module, started controllers.
#ifndef TESTS_SUPPORT_CAMERATEST_H
#define TESTS_SUPPORT_CAMERATEST_H

#include "ModuleConfigure.h"
#include "ModuleTest.h"

namespace testsupport {

// A started controller is taken down as the host does: uinit, then delete.
struct UinitThenDelete {
    void operator()(ISensorController* controller) const { controller->uinit(), delete controller; }
};
using Started = std::unique_ptr<ISensorController, UinitThenDelete>;

class CameraTest : public ModuleTest {
protected:
    // Makes the test root a camera of the named profile and loads its simulator settings.
    void install(const std::string& camera);
    // The module configuration of a channel as the host reads it from the root (its entry, or the first).
    ModuleConfigure config(int channel) const;
    // Constructs, sets channel and video module and runs init, as the host does.
    Started start(int channel = 1) { return start(channel, config(channel)); }
    Started start(int channel, const ModuleConfigure& configure);
    // A parameter file as the set it holds, and a set as its file's bytes.
    std::vector<KeyVal> schemeFile(const std::string& modulePath) const;
    void writeSchemeFile(const std::string& modulePath, const std::vector<KeyVal>& set) const
    {
        writeFile(modulePath, raw(set));
    }
    static std::string raw(const std::vector<KeyVal>& set)
    {
        return std::string(reinterpret_cast<const char*>(set.data()), set.size() * sizeof(KeyVal));
    }
    // Lines of the trace that start with `prefix`.
    static Strings traced(const std::string& prefix);

    hostsim::SimVideoModule video_;
};

}  // namespace testsupport

#endif
