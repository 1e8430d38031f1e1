/*
 * Copyright (C) 2026 The plim-modem developers
 */

#pragma once

#include <optional>

namespace com::vyr::plim::modem {

/**
 * The daemon's command line: `-i <id>`, the modem instance this process serves (0 or 1).
 *
 * One process-wide value, written by parse() on the main thread during start-up, before any other
 * thread exists, and read-only afterwards; hence no lock.
 */
class ModemOptions {
  public:
    ModemOptions() = delete;

    /**
     * Parses the command line. The first valid `-i` wins; later ones are logged and ignored, as
     * are unknown options and bare words. Returns OK, or INVALID_ARGUMENT for a missing argv or
     * an instance id other than 0 or 1. Succeeds without any `-i`: instanceId() stays empty.
     */
    static int parse(int argc, char** argv);

    /** The parsed instance id; empty until a valid `-i` has been parsed. */
    static const std::optional<int>& instanceId();

    /** Forgets the parsed id, so that one test process can parse several command lines. */
    static void clearForTesting();
};

}  // namespace com::vyr::plim::modem
