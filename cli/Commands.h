/*
 * Copyright (C) 2026 The plim-modem developers
 */

// The subcommands: one row per IModem request, with its arguments, how to send it and how to
// show its result.

#pragma once

#include <aidl/vendor/vyr/plim/modem/IModem.h>

#include <cstdint>
#include <string>
#include <vector>

#include "Values.h"

namespace com::vyr::plim::cli {

enum class ArgKind {
    Int,    // --NAME N: a 32-bit integer
    Byte,   // --NAME B: 0..255 or -128..127, passed on as the byte's bits
    OnOff,  // --on, --off, or on|off in place
    Text,   // --NAME TEXT: its bytes as given
    Data,   // --data HEX or --data-file FILE
    Path,   // PATH in place: its bytes as given
};

/** One argument a subcommand takes: its name and how it is written. */
struct Argument {
    const char* name;  // the option without its dashes; for OnOff and Path, a name for help
    ArgKind kind;
};

/** The parsed arguments of one subcommand, by name. */
class Args {
  public:
    int32_t number(const char* name) const;
    int8_t byte(const char* name) const { return static_cast<int8_t>(number(name)); }
    bool on(const char* name) const { return number(name) != 0; }
    const Bytes& bytes(const char* name) const;

    void set(const char* name, int32_t number);
    void set(const char* name, Bytes bytes);
    bool has(const char* name) const;

  private:
    struct Value {
        std::string name;
        int32_t number = 0;
        Bytes bytes;
    };
    const Value& find(const char* name) const;

    std::vector<Value> values_;
};

/** How a result of type byte[] is shown. */
enum class BytesAs { Text, Hex };

using Send = ndk::ScopedAStatus (*)(aidl::vendor::vyr::plim::modem::IModem& modem, int32_t serial,
                                    const Args& args);

struct Command {
    const char* name;    // the subcommand, the method's name in kebab-case
    const char* method;  // the IModem method it calls
    std::vector<Argument> args;
    BytesAs bytesAs;
    const char* help;
    Send send;
};

/** Every subcommand, in the order of IModem's methods. */
const std::vector<Command>& commands();
/** The subcommand of that name, null if there is none. */
const Command* findCommand(const std::string& name);
/** The IModemResponse method that answers the command: "respond" + its method, capitalized. */
std::string responseMethod(const Command& command);
/** "read-nv --nv-id N --sub-id B --index B" */
std::string synopsis(const Command& command);

/**
 * Parses a subcommand's arguments. False with a one-line reason in `why` when one is unknown,
 * given twice, missing, malformed or out of range; `help` is set when --help is among them.
 */
bool parseArgs(const Command& command, const std::vector<std::string>& tokens, Args* args,
               bool* help, std::string* why);

/** Largest --data-file accepted: well within one binder transaction. */
constexpr size_t kMaxDataFile = 256 * 1024;

}  // namespace com::vyr::plim::cli
