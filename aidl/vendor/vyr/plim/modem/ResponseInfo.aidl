/*
 * Copyright (C) 2026 The plim-modem developers
 */

package vendor.vyr.plim.modem;

/**
 * Opens every IModemResponse method: which request is answered, and how it went.
 */
@VintfStability
parcelable ResponseInfo {
    /** Always 0 in this version. */
    int type;
    /** The serial the client gave to the IModem request being answered, unchanged. */
    int serial;
    /**
     * The outcome: 0 success, 1 failed, 2 unsupported, 3 invalid argument, 4 invalid state
     * (also: the request could not reach its modem client), 5 out of memory. No other value is
     * ever sent.
     */
    int error;
}
