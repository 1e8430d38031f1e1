/*
 * Copyright (C) 2026 The plim-modem developers
 */

#include "Cli.h"

int main(int argc, char** argv) {
    return com::vyr::plim::cli::runCli(argc, argv);
}
