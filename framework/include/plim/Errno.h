/*
 * Copyright (C) 2026 The plim-modem developers
 */

#pragma once

namespace com::vyr::plim {

/**
 * Results of every operation in the daemon: plain ints, 0 for success.
 *
 * The values 0 to 5 travel unchanged to binder clients, so they are part of the external
 * interface and must never be renumbered. The type is an unscoped enum with an int underlying
 * type so that `Errno::OK` reads as a name while results stay ordinary ints.
 */
enum Errno : int {
    OK = 0,
    FAILED = 1,
    UNSUPPORTED = 2,
    INVALID_ARGUMENT = 3,
    INVALID_STATE = 4,
    NO_MEMORY = 5,
};

}  // namespace com::vyr::plim
