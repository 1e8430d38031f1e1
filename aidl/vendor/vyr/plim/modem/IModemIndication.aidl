/*
 * Copyright (C) 2026 The plim-modem developers
 */

package vendor.vyr.plim.modem;

/**
 * Unsolicited events from the modem service to its client.
 *
 * The service holds the client's indication callback from IModem.setCallback and watches it for
 * the client's death, but version 1 sends no indication: the interface exists so that a later
 * version can add methods without changing setCallback.
 */
@VintfStability
oneway interface IModemIndication {}
