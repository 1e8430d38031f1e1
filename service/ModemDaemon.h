/*
 * Copyright (C) 2026 The plim-modem developers
 */

#pragma once

namespace com::vyr::plim::modem {

/**
 * The daemon's whole life on the main thread: parse the command line, set the log prefix,
 * prepare the main looper, build the components, name the thread and loop. Returns only when
 * start-up fails or the loop ends, always with 1: the daemon is never meant to stop.
 */
int runModemDaemon(int argc, char** argv);

}  // namespace com::vyr::plim::modem
