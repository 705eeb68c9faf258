// Test fixtures: a private camera root per test and a freshly reset host simulator.
#ifndef TESTS_SUPPORT_TESTROOT_H
#define TESTS_SUPPORT_TESTROOT_H

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace testsupport {

// Files of the camera root, by the module's absolute paths.
std::string readFile(const std::string& modulePath);
void writeFile(const std::string& modulePath, const std::string& bytes);
bool fileExists(const std::string& modulePath);
void removeFile(const std::string& modulePath);
std::vector<std::string> listDir(const std::string& modulePath);
std::string hex(const std::string& bytes);

// Creates a temporary directory, makes it the simulator's root, resets the
// simulator (simulated clock, empty ISP, empty trace) and removes the root
// afterwards.
class HostTest : public ::testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

    const std::string& rootDir() const { return root_; }

private:
    std::string root_;
};

}  // namespace testsupport

#endif
