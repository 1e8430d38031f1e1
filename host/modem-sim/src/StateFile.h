/*
 * Copyright (C) 2026 The plim-modem developers
 */

// The modem's state on disk, for a host daemon whose modem must outlive it: a real modem keeps
// its NV items, files, properties and configurations across daemon restarts. One text file,
// replaced atomically (written beside it, flushed, renamed over it), so that a process killed
// mid-write leaves the previous state readable.
//
// Kept: the modes, SAR and ASDiv states, the IMS profiles, the VS service's NV items, EFS files
// and directories, properties, build texts, switches and counters, and the PDC configurations
// with their selection and activation. Not kept: what belongs to one daemon's session (the
// bound subscriptions, loads under way).
//
// Threads: none of its own; callers serialise use of one StateFile.

#pragma once

#include <optional>
#include <string>

#include <modem_sim/ModemSimControl.h>

namespace modemsim {

class StateFile {
  public:
    /** The state file in `dir` (which is created if missing). */
    explicit StateFile(std::string dir);

    /** The saved state, or nullopt when there is none or it cannot be read (logged on stderr). */
    std::optional<State> load() const;
    /** Saves `state` unless it is what was last saved or loaded. False on a write error (logged
     *  on stderr); the previous file then stays as it was. */
    bool save(const State& state);

    /** The file's text for `state`, and back; parse() gives nullopt for text it does not know. */
    static std::string format(const State& state);
    static std::optional<State> parse(const std::string& text);

  private:
    const std::string mDir;
    const std::string mPath;
    mutable std::string mLastText;
};

}  // namespace modemsim
