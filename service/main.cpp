/*
 * Copyright (C) 2026 The plim-modem developers
 */

#include "ModemDaemon.h"

int main(int argc, char** argv) {
    return com::vyr::plim::modem::runModemDaemon(argc, argv);
}
