// Fixture for tests on a bundled simulated camera: its root, its simulated library and video module.
#ifndef TESTS_SUPPORT_CAMERATEST_H
#define TESTS_SUPPORT_CAMERATEST_H

#include <memory>
#include <string>
#include <vector>

#include "ISensorController.h"
#include "ModuleConfigure.h"
#include "ModuleTest.h"
#include "hostsim.h"

namespace testsupport {

// A started controller is taken down as the host does: uinit, then delete.
struct UinitThenDelete {
    void operator()(ISensorController* controller) const
    {
        controller->uinit();
        delete controller;
    }
};
using Started = std::unique_ptr<ISensorController, UinitThenDelete>;

class CameraTest : public ModuleTest {
protected:
    // Makes the test root a camera of the named profile and loads its simulator settings.
    void install(const std::string& camera);
    // The module configuration of a channel as the host reads it from the root
    // (the channel's entry, or the first one).
    ModuleConfigure config(int channel) const;
    // Constructs, sets channel and video module and runs init, as the host does.
    Started start(int channel = 1);
    Started start(int channel, const ModuleConfigure& configure);

    // Bytes of a parameter file: the set's KeyVal records.
    std::vector<KeyVal> schemeFile(const std::string& modulePath) const;
    void writeSchemeFile(const std::string& modulePath, const std::vector<KeyVal>& set) const;
    // Lines of the trace that start with `prefix`.
    static std::vector<std::string> traced(const std::string& prefix);
    // The bytes of a set, as its file holds them.
    static std::string raw(const std::vector<KeyVal>& set);

    hostsim::SimVideoModule video_;
};

}  // namespace testsupport

#endif
