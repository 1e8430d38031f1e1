/*
 * Copyright (C) 2026 The plim-modem developers
 */

// Random trees under the MBN root (a temporary directory, on a host build) through
// PdcQmiClient::collectMcfgSwMbnFiles, checked against a plain recursive walk of our own: the same
// directories, each once per path that reaches it, and no descriptor left open.
//
// Input: up to MAX_OPS operations, each an op byte then its operands (see buildTree). The tree
// holds directories (depth <= MAX_DEPTH), regular files named mcfg_sw.mbn or otherwise,
// directories named mcfg_sw.mbn, and symbolic links to directories. A link may only point to a
// directory made after the one holding it: ancestors are always older, so no path ever cycles.

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <set>
#include <string>
#include <system_error>
#include <vector>

#include <plim/Errno.h>

#include "FuzzCheck.h"
#include "PdcQmiClient.h"

namespace {

using com::vyr::plim::modem::PdcQmiClient;

constexpr size_t MAX_OPS = 32;
constexpr size_t MAX_DEPTH = 6;
constexpr size_t MAX_NAME = 10;
// Links multiply the paths to a directory; this keeps the walk of one input short.
constexpr size_t MAX_LINKS = 8;

std::string root;
bool rootRedirected = false;

class Input {
  public:
    Input(const uint8_t* data, size_t size) : data_(data), size_(size) {}
    bool empty() const { return size_ == 0; }
    uint8_t byte() {
        if (size_ == 0) {
            return 0;
        }
        --size_;
        return *data_++;
    }

  private:
    const uint8_t* data_;
    size_t size_;
};

/** A name of 1 to MAX_NAME bytes, any byte but '/' and NUL, never "." or "..". */
std::string takeName(Input& in) {
    const size_t length = in.byte() % MAX_NAME + 1;
    std::string name;
    for (size_t i = 0; i < length; ++i) {
        const char c = static_cast<char>(in.byte());
        name += (c == '\0' || c == '/') ? '_' : c;
    }
    if (name == "." || name == "..") {
        name += '_';
    }
    return name;
}

struct Dir {
    std::string path;
    size_t depth;
};

void makeFile(const std::string& path) {
    const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (fd >= 0) {
        close(fd);
    }
}

/** Builds the tree under the (empty) root. Operations that collide with an existing name fail
 *  and are skipped: the checks read the disk, not this list. */
void buildTree(Input& in) {
    std::vector<Dir> dirs{{root, 0}};  // real directories, oldest first
    const std::string mbn = PdcQmiClient::MBN_FILE_NAME;
    size_t links = 0;
    for (size_t op = 0; op < MAX_OPS && !in.empty(); ++op) {
        const uint8_t code = in.byte();
        const size_t at = in.byte() % dirs.size();
        const Dir parent = dirs[at];
        switch (code % 5) {
            case 0:  // a directory
            case 1:  // a directory named like the file
                if (parent.depth < MAX_DEPTH) {
                    const std::string path =
                            parent.path + "/" + (code % 5 == 1 ? mbn : takeName(in));
                    if (mkdir(path.c_str(), 0700) == 0) {
                        dirs.push_back({path, parent.depth + 1});
                    }
                }
                break;
            case 2:
                makeFile(parent.path + "/" + mbn);
                break;
            case 3:
                makeFile(parent.path + "/" + takeName(in));
                break;
            default: {  // a link to a younger directory, named anything or like the file
                const size_t target = in.byte() % dirs.size();
                const std::string name = (code / 5) % 2 ? mbn : takeName(in);
                if (target > at && links < MAX_LINKS) {
                    ++links;
                    symlink(dirs[target].path.c_str(), (parent.path + "/" + name).c_str());
                }
                break;
            }
        }
    }
}

/** What the walk must find: every directory reached from `dir`, through links too, that directly
 *  holds a non-directory mcfg_sw.mbn, as "/a/b/" below the root. */
void expectedEntries(const std::string& dir, const std::string& relative,
                     std::multiset<std::string>& out) {
    DIR* stream = opendir(dir.c_str());
    CHECK(stream != nullptr);
    std::vector<std::string> names;
    while (const dirent* entry = readdir(stream)) {
        if (std::strcmp(entry->d_name, ".") != 0 && std::strcmp(entry->d_name, "..") != 0) {
            names.emplace_back(entry->d_name);
        }
    }
    closedir(stream);
    bool holdsFile = false;
    for (const std::string& name : names) {
        const std::string path = dir + "/" + name;
        struct stat st;
        CHECK(stat(path.c_str(), &st) == 0);
        if (S_ISDIR(st.st_mode)) {
            expectedEntries(path, relative + name + "/", out);
        } else if (name == PdcQmiClient::MBN_FILE_NAME) {
            holdsFile = true;
        }
    }
    if (holdsFile) {
        out.insert(relative);
    }
}

size_t openDescriptors() {
    DIR* stream = opendir("/proc/self/fd");
    CHECK(stream != nullptr);
    size_t count = 0;
    while (readdir(stream) != nullptr) {
        ++count;
    }
    closedir(stream);
    return count;
}

void emptyRoot() {
    std::error_code ec;
    std::vector<std::filesystem::path> children;
    for (const auto& entry : std::filesystem::directory_iterator(root, ec)) {
        children.push_back(entry.path());
    }
    for (const auto& child : children) {
        std::filesystem::remove_all(child, ec);  // a link itself, not its target
    }
}

void removeRoot() {
    std::error_code ec;
    std::filesystem::remove_all(root, ec);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    // TMPDIR lets the run put the tree on a tmpfs: on a disk, the per-input mkdir and unlink
    // calls are most of the time.
    const char* tmp = std::getenv("TMPDIR");
    std::string pattern =
            std::string(tmp != nullptr && *tmp != '\0' ? tmp : "/tmp") + "/plim-mbn-fuzz.XXXXXX";
    CHECK(mkdtemp(pattern.data()) != nullptr);
    root = pattern;
    setenv("PLIM_MBN_ROOT", root.c_str(), 1);
    // A device build keeps its fixed root: the walk still runs on this tree, but nothing in it
    // lies below the root, so nothing may be listed.
    rootRedirected = PdcQmiClient::mbnRoot() == root;
    std::atexit(removeRoot);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    emptyRoot();
    Input in(data, size);
    buildTree(in);

    std::multiset<std::string> expected;
    expectedEntries(root, "/", expected);
    if (!rootRedirected) {
        expected.clear();
    }

    const size_t descriptors = openDescriptors();
    std::vector<std::string> found;
    const int ret = PdcQmiClient::collectMcfgSwMbnFiles(root, found);
    CHECK(openDescriptors() == descriptors);

    CHECK(ret == com::vyr::plim::OK);
    for (const std::string& entry : found) {
        CHECK(!entry.empty() && entry.front() == '/' && entry.back() == '/');
    }
    CHECK(std::multiset<std::string>(found.begin(), found.end()) == expected);
    emptyRoot();
    return 0;
}
