/*
 * Copyright (C) 2026 The plim-modem developers
 */

// The configuration client's work on the device's files: the MBN tree (its root, the walk that
// lists it) and the loading of one MBN file into the modem, chunk by chunk.

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include <plim/Log.h>
#include <plim/SerialByteArrayParam.h>
#include <plim/SerialVoidParam.h>

#include "ModemResponse.h"
#include "PdcQmiClient.h"
#include "RequestSteps.h"

namespace com::vyr::plim::modem {

namespace {

constexpr const char* TAG = "modem-qmi-pdc";
constexpr size_t CONFIG_ID_PREFIX_LENGTH =
        std::char_traits<char>::length(PdcQmiClient::CONFIG_ID_PREFIX);

/** Closes the descriptor it holds on every way out of the load. */
class FileCloser {
  public:
    explicit FileCloser(int fd) : fd_(fd) {}
    ~FileCloser() { close(fd_); }
    FileCloser(const FileCloser&) = delete;
    FileCloser& operator=(const FileCloser&) = delete;

  private:
    const int fd_;
};

}  // namespace

const std::string& PdcQmiClient::mbnRoot() {
    static const std::string root = [] {
#ifdef PLIM_HOST_MBN_ROOT_VARIABLE
        // Host builds only: tests and the host daemon have trees of their own. An empty value
        // would make every path count as below the root, so it is ignored.
        const char* host = std::getenv(PLIM_HOST_MBN_ROOT_VARIABLE);
        if (host != nullptr && *host != '\0') {
            return std::string(host);
        }
#endif
        return std::string(DEVICE_MBN_ROOT);
    }();
    return root;
}

std::string PdcQmiClient::extractRelativePath(const std::string& dir) {
    const std::string& root = mbnRoot();
    if (dir.compare(0, root.size(), root) != 0) {
        return "";
    }
    return dir.substr(root.size()) + "/";
}

int PdcQmiClient::collectMcfgSwMbnFiles(const std::string& dir, std::vector<std::string>& out) {
    static constexpr const char* FUNC = "collectMcfgSwMbnFiles";
    DIR* stream = opendir(dir.c_str());
    if (stream == nullptr) {
        Log::printAndroidLog(Log::ERROR, TAG, "%s: failed to open dir %s, error = %s", FUNC,
                             dir.c_str(), strerror(errno));
        return FAILED;
    }
    int result = OK;
    for (;;) {
        // readdir() reports its failures only through errno.
        errno = 0;
        const dirent* entry = readdir(stream);
        if (entry == nullptr) {
            if (errno != 0) {
                Log::printAndroidLog(Log::ERROR, TAG, "%s: failed to read dir %s, error = %s", FUNC,
                                     dir.c_str(), strerror(errno));
                result = FAILED;
            }
            break;
        }
        const std::string name = entry->d_name;
        if (name == "." || name == "..") {
            continue;
        }
        const std::string path = dir + "/" + name;
        // stat(), not lstat(): a linked directory is walked like any other.
        struct stat status;
        if (stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode)) {
            if (collectMcfgSwMbnFiles(path, out) != OK) {
                Log::printAndroidLog(Log::ERROR, TAG, "%s: failed to collect files from %s", FUNC,
                                     path.c_str());
                result = FAILED;
                break;
            }
        } else if (name == MBN_FILE_NAME) {
            std::string relative = extractRelativePath(dir);
            if (!relative.empty()) {
                out.push_back(std::move(relative));
            }
        }
    }
    if (closedir(stream) < 0) {
        Log::printAndroidLog(Log::ERROR, TAG, "%s: failed to close dir %s, error = %s", FUNC,
                             dir.c_str(), strerror(errno));
    }
    return result;
}

// Listed even while the service is down: the list comes from the file system alone.
int PdcQmiClient::handleGetMbnListMessage(const std::shared_ptr<Message>& msg) {
    std::shared_ptr<SerialVoidParam> p =
            requestParam<SerialVoidParam>(TAG, "handleGetMbnListMessage", msg);
    if (!p) {
        return INVALID_ARGUMENT;
    }
    std::vector<std::string> list;
    const int result = collectMcfgSwMbnFiles(mbnRoot(), list);
    // Half a list would look like a whole one to the client.
    if (result != OK) {
        list.clear();
    }
    return ModemResponse::respondGetMbnList(p->serial, static_cast<Errno>(result), list);
}

int PdcQmiClient::handleLoadMbnMessage(const std::shared_ptr<Message>& msg) {
    static constexpr const char* FUNC = "handleLoadMbnMessage";
    return serveConnected<SerialByteArrayParam>(
            FUNC, msg, SerialByteArrayParam::RTTI_TYPE,
            [](const SerialByteArrayParam& p) { return loadMbnFile(FUNC, p.value); },
            [](const SerialByteArrayParam& p, Errno err) {
                return ModemResponse::respondLoadMbn(p.serial, err);
            });
}

Errno PdcQmiClient::loadMbnFile(const char* func, const std::vector<uint8_t>& path) {
    const size_t size = path.size();
    // The id, "MbnApp_" and the path, must end with a zero inside its buffer.
    if (size >= CONFIG_ID_MAX || CONFIG_ID_PREFIX_LENGTH + size >= CONFIG_ID_MAX) {
        Log::printAndroidLog(Log::ERROR, TAG, "%s: exceed/reach max size, target size = %zu", func,
                             size);
        return INVALID_ARGUMENT;
    }
    // The path ends at its first zero byte, in the file name and in the id alike.
    const std::array<char, CONFIG_ID_MAX> mbnPath = zeroTerminated<CONFIG_ID_MAX>(path);
    std::array<char, CONFIG_ID_MAX> configId{};
    std::memcpy(configId.data(), CONFIG_ID_PREFIX, CONFIG_ID_PREFIX_LENGTH);
    std::memcpy(configId.data() + CONFIG_ID_PREFIX_LENGTH, mbnPath.data(),
                strnlen(mbnPath.data(), size));
    Log::printAndroidLog(Log::DEBUG, TAG, "%s: mbnPath = %s, configId = %s", func, mbnPath.data(),
                         configId.data());

    // O_NONBLOCK: a FIFO named by a client must not stall the main loop; it reads as empty.
    const int fd = open(mbnPath.data(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (fd < 0) {
        Log::printAndroidLog(Log::ERROR, TAG, "%s: failed to open %s, error = %s", func,
                             mbnPath.data(), strerror(errno));
        return FAILED;
    }
    const FileCloser closer(fd);
    struct stat status;
    if (fstat(fd, &status) != 0) {
        Log::printAndroidLog(Log::ERROR, TAG, "%s: failed to stat %s, error = %s", func,
                             mbnPath.data(), strerror(errno));
        return FAILED;
    }
    // The library takes the total as 32 bits; a file of 2 GiB or more is cut to that.
    const int total = static_cast<int>(status.st_size);
    int remaining = total;
    std::array<uint8_t, LOAD_BUFFER_SIZE> chunk;
    for (int itor = 1; remaining > 0; ++itor) {
        chunk.fill(0);
        errno = 0;
        const ssize_t got = read(fd, chunk.data(), LOAD_CHUNK_SIZE);
        if (got <= 0) {
            Log::printAndroidLog(Log::ERROR, TAG, "%s: failed to read %s, size = %d, error = %s",
                                 func, mbnPath.data(), static_cast<int>(got), strerror(errno));
            return FAILED;
        }
        if (modem_pdc_load_configuration(configId.data(), chunk.data(), static_cast<uint32_t>(got),
                                         static_cast<uint32_t>(total)) != MODEM_API_SUCCESS) {
            Log::printAndroidLog(Log::ERROR, TAG, "%s: failed to load config, itor = %d", func,
                                 itor);
            return FAILED;
        }
        remaining -= static_cast<int>(got);
        Log::printAndroidLog(Log::INFO, TAG,
                             "%s: successfully loaded config, itor = %d, size = %d, total size = "
                             "%zu, remaining size = %d",
                             func, itor, static_cast<int>(got), static_cast<size_t>(status.st_size),
                             remaining);
    }
    return OK;
}

}  // namespace com::vyr::plim::modem
