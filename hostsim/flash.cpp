// Simulated flash: which file changes survive a power cut, the numbered steps a cut falls on, and the reboot.
//
// The model follows every change the host makes under /mnt/mtd through PLFile
// and the shell. Written data becomes durable when its file is synced; a
// creation, rename or unlink when its directory is synced. Until then a change
// is pending, and a reboot keeps all, none or a torn part of the pending ones.
// A file the model meets for the first time counts as durable as it is.
#include "flash.h"

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <map>
#include <mutex>
#include <set>
#include <sstream>

#include "hostsim.h"

namespace fs = std::filesystem;

namespace hostsim {
namespace {

struct Change {
    enum Kind { Write, Truncate, Link, Unlink } kind;
    int inode;             // Write, Truncate, Link
    std::string path;      // Link, Unlink
    std::size_t offset;    // Write; Truncate: the new length
    std::string bytes;     // Write
};

using Names = std::map<std::string, int>;  // real path -> inode
using Contents = std::map<int, std::string>;

struct Flash {
    std::mutex mutex;
    Names names;        // durable directory entries
    Contents contents;  // durable file contents
    Names live;         // the entries as the host sees them now
    std::vector<Change> pending;
    std::set<std::string> touched;  // paths a reboot must put back
    int nextInode = 1;
    std::uint64_t steps = 0;
    std::uint64_t cutAt = 0;
    bool atomic = true;
};

Flash& flash()
{
    static Flash state;
    return state;
}

std::atomic<std::uint64_t> g_flashWrites{0};

bool onFlash(const std::string& path)
{
    const std::string top = mapPath("/mnt/mtd") + "/";
    return path.compare(0, top.size(), top) == 0;
}

std::string parentOf(const std::string& path) { return path.substr(0, path.find_last_of('/')); }

// The power fails just before step cutAt: changes made after step cutAt - 1
// (and before step cutAt) still reach the flash.
bool powered(const Flash& f) { return f.cutAt == 0 || f.steps < f.cutAt; }

bool step(Flash& f)
{
    ++f.steps;
    return powered(f);
}

// The inode of a file the host sees; 0 for none.
int know(Flash& f, const std::string& path)
{
    auto it = f.live.find(path);
    if (it != f.live.end()) return it->second;
    std::error_code ec;
    if (!fs::is_regular_file(path, ec)) return 0;
    std::ifstream in(path, std::ios::binary);
    std::ostringstream bytes;
    bytes << in.rdbuf();
    const int inode = f.nextInode++;
    f.names[path] = f.live[path] = inode;
    f.contents[inode] = bytes.str();
    return inode;
}

void apply(Names& names, Contents& contents, const Change& c, bool torn)
{
    switch (c.kind) {
    case Change::Write: {
        std::string& data = contents[c.inode];
        const std::size_t n = torn ? c.bytes.size() / 2 : c.bytes.size();
        if (data.size() < c.offset + n) data.resize(c.offset + n);
        data.replace(c.offset, n, c.bytes, 0, n);
        break;
    }
    case Change::Truncate:
        contents[c.inode].resize(c.offset);
        break;
    case Change::Link:
        names[c.path] = c.inode;
        break;
    case Change::Unlink:
        names.erase(c.path);
        break;
    }
}

// Makes the pending changes that `settles` picks durable, in the order they were made.
template <typename Pick>
void settle(Flash& f, Pick settles)
{
    std::vector<Change> rest;
    for (Change& c : f.pending) {
        if (settles(c)) {
            apply(f.names, f.contents, c, false);
        } else {
            rest.push_back(std::move(c));
        }
    }
    f.pending.swap(rest);
}

void forget(Flash& f)
{
    f.names.clear();
    f.contents.clear();
    f.live.clear();
    f.pending.clear();
    f.touched.clear();
    f.cutAt = 0;
}

// Only under a root: the development machine's own /tmp and /mnt/mtd are not the simulator's.
void removeTemporaries()
{
    if (root().empty()) return;
    const std::string suffix = detail::temporaryOf("");
    std::error_code ec;
    for (const std::string& path : detail::flashFiles()) {
        if (path.size() > suffix.size() && path.compare(path.size() - suffix.size(), suffix.size(), suffix) == 0) {
            fs::remove(path, ec);
        }
    }
}

}  // namespace

namespace detail {

bool atomicCommit()
{
    Flash& f = flash();
    std::lock_guard<std::mutex> lock(f.mutex);
    return f.atomic;
}

std::string temporaryOf(const std::string& path) { return path + ".tmp"; }

void flashOpen(const std::string& path, bool truncate)
{
    if (!onFlash(path)) return;
    Flash& f = flash();
    std::lock_guard<std::mutex> lock(f.mutex);
    f.touched.insert(path);
    const int inode = know(f, path);
    if (inode == 0) {
        const int fresh = f.nextInode++;
        f.live[path] = fresh;
        if (powered(f)) f.pending.push_back({Change::Link, fresh, path, 0, {}});
    } else if (truncate && powered(f)) {
        f.pending.push_back({Change::Truncate, inode, {}, 0, {}});
    }
}

void flashWrite(const std::string& path, std::size_t offset, const std::string& bytes)
{
    if (!onFlash(path)) return;
    Flash& f = flash();
    std::lock_guard<std::mutex> lock(f.mutex);
    f.touched.insert(path);
    const int inode = know(f, path);
    if (step(f) && inode != 0) {
        f.pending.push_back({Change::Write, inode, {}, offset, bytes});
        g_flashWrites.fetch_add(1);
    }
}

void flashSync(const std::string& path)
{
    if (!onFlash(path)) return;
    Flash& f = flash();
    std::lock_guard<std::mutex> lock(f.mutex);
    const int inode = know(f, path);
    if (!step(f)) return;
    settle(f, [inode](const Change& c) {
        return (c.kind == Change::Write || c.kind == Change::Truncate) && c.inode == inode;
    });
}

void flashRename(const std::string& from, const std::string& to)
{
    if (!onFlash(from)) return;
    Flash& f = flash();
    std::lock_guard<std::mutex> lock(f.mutex);
    f.touched.insert(from);
    f.touched.insert(to);
    const int inode = know(f, from);
    know(f, to);
    f.live.erase(from);
    if (inode != 0) f.live[to] = inode;
    if (step(f) && inode != 0) {
        f.pending.push_back({Change::Unlink, 0, from, 0, {}});
        f.pending.push_back({Change::Link, inode, to, 0, {}});
    }
}

void flashSyncDir(const std::string& dir)
{
    if (!onFlash(dir + "/")) return;
    Flash& f = flash();
    std::lock_guard<std::mutex> lock(f.mutex);
    if (!step(f)) return;
    settle(f, [&dir](const Change& c) {
        return (c.kind == Change::Link || c.kind == Change::Unlink) && parentOf(c.path) == dir;
    });
    // Contents no entry reaches any more (a replaced file) are dropped.
    std::set<int> used;
    for (const auto& entry : f.names) used.insert(entry.second);
    for (const auto& entry : f.live) used.insert(entry.second);
    for (const Change& c : f.pending) used.insert(c.inode);
    for (auto it = f.contents.begin(); it != f.contents.end();) {
        it = used.count(it->first) != 0 ? std::next(it) : f.contents.erase(it);
    }
}

void flashUnlink(const std::string& path)
{
    if (!onFlash(path)) return;
    Flash& f = flash();
    std::lock_guard<std::mutex> lock(f.mutex);
    f.touched.insert(path);
    f.live.erase(path);
    if (step(f)) f.pending.push_back({Change::Unlink, 0, path, 0, {}});
}

std::vector<std::string> flashFiles()
{
    std::vector<std::string> files;
    std::error_code ec;
    for (fs::recursive_directory_iterator it(mapPath("/mnt/mtd"), ec), end; !ec && it != end; it.increment(ec)) {
        if (it->is_regular_file(ec)) files.push_back(it->path().string());
    }
    std::sort(files.begin(), files.end());
    Flash& f = flash();
    std::lock_guard<std::mutex> lock(f.mutex);
    for (const std::string& path : files) know(f, path);
    return files;
}

void countFlashWrite(const std::string& path)
{
    if (onFlash(path)) g_flashWrites.fetch_add(1);
}

void startFlash()
{
    removeTemporaries();
    Flash& f = flash();
    std::lock_guard<std::mutex> lock(f.mutex);
    forget(f);
}

void resetFlash()
{
    Flash& f = flash();
    std::lock_guard<std::mutex> lock(f.mutex);
    forget(f);
    f.atomic = true;
}

}  // namespace detail

void setAtomicCommit(bool on)
{
    Flash& f = flash();
    std::lock_guard<std::mutex> lock(f.mutex);
    f.atomic = on;
}

std::uint64_t flashWrites() { return g_flashWrites.load(); }

std::uint64_t flashSteps()
{
    Flash& f = flash();
    std::lock_guard<std::mutex> lock(f.mutex);
    return f.steps;
}

void setPowerCut(std::uint64_t step)
{
    Flash& f = flash();
    std::lock_guard<std::mutex> lock(f.mutex);
    f.cutAt = step;
}

void reboot(PowerLoss loss)
{
    if (!root().empty()) {
        Flash& f = flash();
        std::lock_guard<std::mutex> lock(f.mutex);
        Names names = f.names;
        Contents contents = f.contents;
        if (loss != PowerLoss::DropUnsynced) {
            for (const Change& c : f.pending) apply(names, contents, c, loss == PowerLoss::TearUnsynced);
        }
        std::error_code ec;
        for (const std::string& path : f.touched) {
            auto it = names.find(path);
            if (it == names.end()) {
                fs::remove(path, ec);
            } else {
                std::ofstream(path, std::ios::binary | std::ios::trunc) << contents[it->second];
            }
        }
        // /tmp is memory.
        std::vector<fs::path> memory;
        for (fs::directory_iterator it(mapPath("/tmp"), ec), end; !ec && it != end; it.increment(ec)) {
            memory.push_back(it->path());
        }
        for (const fs::path& path : memory) fs::remove_all(path, ec);
    }
    detail::startFlash();
}

}  // namespace hostsim
