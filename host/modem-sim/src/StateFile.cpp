/*
 * Copyright (C) 2026 The plim-modem developers
 */

#include "StateFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <sstream>
#include <tuple>
#include <vector>

namespace modemsim {

namespace {

constexpr const char* kMagic = "plim-modem-sim-state 1";

std::string hex(const std::string& bytes) {
    static constexpr char kDigits[] = "0123456789abcdef";
    std::string text = "x";  // never empty, so that the line always has the field
    for (unsigned char c : bytes) {
        text += kDigits[c >> 4];
        text += kDigits[c & 0xF];
    }
    return text;
}

std::string hex(const std::vector<uint8_t>& bytes) {
    return hex(std::string(bytes.begin(), bytes.end()));
}

std::optional<std::string> unhex(const std::string& text) {
    if (text.empty() || text[0] != 'x' || text.size() % 2 != 1)
        return std::nullopt;
    std::string bytes;
    for (size_t i = 1; i < text.size(); i += 2) {
        const int high = std::isxdigit(static_cast<unsigned char>(text[i]));
        const int low = std::isxdigit(static_cast<unsigned char>(text[i + 1]));
        if (!high || !low)
            return std::nullopt;
        bytes += static_cast<char>(std::stoi(text.substr(i, 2), nullptr, 16));
    }
    return bytes;
}

std::vector<uint8_t> toBytes(const std::string& bytes) {
    return std::vector<uint8_t>(bytes.begin(), bytes.end());
}

// One line's fields after its key, read in order; any failure spoils the whole line.
class Fields {
  public:
    explicit Fields(std::istringstream& in) : mIn(in) {}
    template <typename T>
    T number() {
        long long value = 0;
        if (!(mIn >> value))
            mOk = false;
        return static_cast<T>(value);
    }
    std::string bytes() {
        std::string text;
        std::optional<std::string> bytes;
        if (!(mIn >> text) || !(bytes = unhex(text))) {
            mOk = false;
            return {};
        }
        return *bytes;
    }
    bool ok() const {
        std::string rest;
        return mOk && !(mIn >> rest);
    }

  private:
    std::istringstream& mIn;
    bool mOk = true;
};

// The scalar fields, by key, so that format() and parse() cannot drift apart.
struct IntField {
    const char* key;
    int State::*field;
};
constexpr IntField kInts[] = {
        {"operatingMode", &State::operatingMode},
        {"nrNetworkMode", &State::nrNetworkMode},
        {"vonrMode", &State::vonrMode},
        {"sarState", &State::sarState},
        {"asdivMode", &State::asdivMode},
        {"simlockFuseState", &State::simlockFuseState},
        {"qstMode", &State::qstMode},
        {"qcnRestores", &State::qcnRestores},
        {"rrcAborts", &State::rrcAborts},
        {"reboots", &State::reboots},
};
struct BoolField {
    const char* key;
    bool State::*field;
};
constexpr BoolField kBools[] = {
        {"screenOn", &State::screenOn},
        {"radioInfoReportEnabled", &State::radioInfoReportEnabled},
        {"ratMaskRemoved", &State::ratMaskRemoved},
        {"powerSaveSwitch", &State::powerSaveSwitch},
};
struct TextField {
    const char* key;
    std::string State::*field;
};
constexpr TextField kTexts[] = {
        {"buildTime", &State::buildTime},
        {"buildId", &State::buildId},
        {"activeMbn", &State::activeMbn},
};

bool parseLine(const std::string& key, std::istringstream& in, State& state) {
    Fields f(in);
    for (const IntField& field : kInts) {
        if (key == field.key) {
            state.*field.field = f.number<int>();
            return f.ok();
        }
    }
    for (const BoolField& field : kBools) {
        if (key == field.key) {
            state.*field.field = f.number<int>() != 0;
            return f.ok();
        }
    }
    for (const TextField& field : kTexts) {
        if (key == field.key) {
            state.*field.field = f.bytes();
            return f.ok();
        }
    }
    if (key == "powerSaveMode") {
        state.powerSaveMode = f.number<uint8_t>();
    } else if (key == "imsProfile") {
        modem_qdp_profile_id profile{};
        profile.technology = f.number<decltype(profile.technology)>();
        profile.index = f.number<decltype(profile.index)>();
        state.imsProfiles.push_back(profile);
    } else if (key == "nv") {
        const auto sub = f.number<uint8_t>();
        const auto id = f.number<int32_t>();
        const auto index = f.number<uint8_t>();
        state.nvItems[{sub, id, index}] = toBytes(f.bytes());
    } else if (key == "efs") {
        const auto sub = f.number<uint8_t>();
        const auto id = f.number<int32_t>();
        state.efsFiles[{sub, id}] = toBytes(f.bytes());
    } else if (key == "efsDir") {
        state.efsDirs.insert(f.number<int32_t>());
    } else if (key == "property") {
        const std::string name = f.bytes();
        state.properties[name] = f.bytes();
    } else if (key == "pdcConfig") {
        const std::string id = f.bytes();
        state.pdcConfigs[id] = toBytes(f.bytes());
    } else if (key == "pdcSelected") {
        const int type = f.number<int>();
        state.pdcSelected[type] = f.bytes();
    } else if (key == "pdcActive") {
        const int type = f.number<int>();
        state.pdcActive[type] = f.bytes();
    } else {
        return false;
    }
    return f.ok();
}

}  // namespace

StateFile::StateFile(std::string dir) : mDir(std::move(dir)), mPath(mDir + "/modem-state") {
    mkdir(mDir.c_str(), 0700);
}

std::string StateFile::format(const State& state) {
    std::ostringstream out;
    out << kMagic << "\n";
    for (const IntField& field : kInts)
        out << field.key << " " << state.*field.field << "\n";
    for (const BoolField& field : kBools)
        out << field.key << " " << (state.*field.field ? 1 : 0) << "\n";
    for (const TextField& field : kTexts)
        out << field.key << " " << hex(state.*field.field) << "\n";
    out << "powerSaveMode " << static_cast<int>(state.powerSaveMode) << "\n";
    for (const modem_qdp_profile_id& profile : state.imsProfiles)
        out << "imsProfile " << static_cast<long long>(profile.technology) << " "
            << static_cast<long long>(profile.index) << "\n";
    for (const auto& [key, data] : state.nvItems)
        out << "nv " << static_cast<int>(std::get<0>(key)) << " " << std::get<1>(key) << " "
            << static_cast<int>(std::get<2>(key)) << " " << hex(data) << "\n";
    for (const auto& [key, data] : state.efsFiles)
        out << "efs " << static_cast<int>(key.first) << " " << key.second << " " << hex(data)
            << "\n";
    for (int32_t dir : state.efsDirs)
        out << "efsDir " << dir << "\n";
    for (const auto& [name, value] : state.properties)
        out << "property " << hex(name) << " " << hex(value) << "\n";
    for (const auto& [id, data] : state.pdcConfigs)
        out << "pdcConfig " << hex(id) << " " << hex(data) << "\n";
    for (const auto& [type, id] : state.pdcSelected)
        out << "pdcSelected " << type << " " << hex(id) << "\n";
    for (const auto& [type, id] : state.pdcActive)
        out << "pdcActive " << type << " " << hex(id) << "\n";
    return out.str();
}

std::optional<State> StateFile::parse(const std::string& text) {
    std::istringstream lines(text);
    std::string line;
    if (!std::getline(lines, line) || line != kMagic)
        return std::nullopt;
    // Every collection comes from the file alone, not from the power-on defaults.
    State state;
    state.imsProfiles.clear();
    state.efsDirs.clear();
    while (std::getline(lines, line)) {
        std::istringstream in(line);
        std::string key;
        if (!(in >> key))
            continue;
        if (!parseLine(key, in, state))
            return std::nullopt;
    }
    return state;
}

std::optional<State> StateFile::load() const {
    std::ifstream in(mPath, std::ios::binary);
    if (!in)
        return std::nullopt;
    std::ostringstream text;
    text << in.rdbuf();
    std::optional<State> state = parse(text.str());
    if (!state) {
        std::fprintf(stderr, "modem-sim: %s is not a modem state, starting from power-on\n",
                     mPath.c_str());
        return std::nullopt;
    }
    mLastText = text.str();
    return state;
}

bool StateFile::save(const State& state) {
    const std::string text = format(state);
    if (text == mLastText)
        return true;
    const std::string temp = mPath + ".new";
    const int fd = open(temp.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    bool ok = fd >= 0;
    for (size_t done = 0; ok && done < text.size();) {
        const ssize_t n = write(fd, text.data() + done, text.size() - done);
        ok = n > 0;
        done += ok ? static_cast<size_t>(n) : 0;
    }
    // Flushed before the rename, so that the name never points at a half-written file.
    ok = ok && fsync(fd) == 0;
    if (fd >= 0)
        close(fd);
    ok = ok && rename(temp.c_str(), mPath.c_str()) == 0;
    if (!ok) {
        std::fprintf(stderr, "modem-sim: failed to save the modem state in %s: %s\n", mPath.c_str(),
                     std::strerror(errno));
        return false;
    }
    mLastText = text;
    return true;
}

}  // namespace modemsim
