/*
 * Copyright (C) 2026 The plim-modem developers
 */

#include "Commands.h"

#include <climits>
#include <cstdlib>
#include <optional>

namespace com::vyr::plim::cli {

using aidl::vendor::vyr::plim::modem::IModem;

// ---- Args ---------------------------------------------------------------------------------------

const Args::Value& Args::find(const char* name) const {
    for (const Value& value : values_) {
        if (value.name == name) {
            return value;
        }
    }
    // A send function asking for an argument its row does not declare: a bug in the table.
    std::abort();
}

int32_t Args::number(const char* name) const {
    return find(name).number;
}

const Bytes& Args::bytes(const char* name) const {
    return find(name).bytes;
}

void Args::set(const char* name, int32_t number) {
    values_.push_back(Value{name, number, {}});
}

void Args::set(const char* name, Bytes bytes) {
    values_.push_back(Value{name, 0, std::move(bytes)});
}

bool Args::has(const char* name) const {
    for (const Value& value : values_) {
        if (value.name == name) {
            return true;
        }
    }
    return false;
}

// ---- The table ----------------------------------------------------------------------------------

namespace {

const Argument kNvId{"nv-id", ArgKind::Int};
const Argument kEfsId{"efs-id", ArgKind::Int};
const Argument kSubId{"sub-id", ArgKind::Byte};
const Argument kIndex{"index", ArgKind::Byte};
const Argument kData{"data", ArgKind::Data};
const Argument kMode{"mode", ArgKind::Int};
const Argument kByteMode{"mode", ArgKind::Byte};
const Argument kState{"state", ArgKind::Int};
const Argument kOnOff{"on|off", ArgKind::OnOff};
// The MBN requests' subscription argument selects a configuration type.
const Argument kType{"type", ArgKind::Int};
const Argument kId{"id", ArgKind::Text};
const Argument kName{"name", ArgKind::Text};
const Argument kKey{"key", ArgKind::Text};
const Argument kValue{"value", ArgKind::Text};
const Argument kPath{"PATH", ArgKind::Path};

using A = const Args&;

Command row(const char* name, const char* method, std::vector<Argument> args, BytesAs bytesAs,
            const char* help, Send send) {
    return Command{name, method, std::move(args), bytesAs, help, send};
}
constexpr BytesAs kText = BytesAs::Text;
constexpr BytesAs kHex = BytesAs::Hex;

const std::vector<Command>& table() {
    static const std::vector<Command> rows{
            row("get-build-time", "getBuildTime", {}, kText, "the modem software's build time",
                [](IModem& m, int32_t s, A) { return m.getBuildTime(s); }),
            row("get-build-id", "getBuildId", {}, kText, "the modem software's build id",
                [](IModem& m, int32_t s, A) { return m.getBuildId(s); }),
            row("read-nv", "readNv", {kNvId, kSubId, kIndex}, kHex, "an NV item's contents, in hex",
                [](IModem& m, int32_t s, A a) {
                    return m.readNv(s, a.number("nv-id"), a.byte("sub-id"), a.byte("index"));
                }),
            row("write-nv", "writeNv", {kNvId, kSubId, kIndex, kData}, kHex, "writes an NV item",
                [](IModem& m, int32_t s, A a) {
                    return m.writeNv(s, a.number("nv-id"), a.byte("sub-id"), a.byte("index"),
                                     a.bytes("data"));
                }),
            row("read-efs", "readEfs", {kEfsId, kSubId}, kHex, "an EFS file's contents, in hex",
                [](IModem& m, int32_t s, A a) {
                    return m.readEfs(s, a.number("efs-id"), a.byte("sub-id"));
                }),
            row("write-efs", "writeEfs", {kEfsId, kSubId, kData}, kHex, "writes an EFS file",
                [](IModem& m, int32_t s, A a) {
                    return m.writeEfs(s, a.number("efs-id"), a.byte("sub-id"), a.bytes("data"));
                }),
            row("delete-efs-file", "deleteEfsFile", {kEfsId, kSubId}, kText, "deletes an EFS file",
                [](IModem& m, int32_t s, A a) {
                    return m.deleteEfsFile(s, a.number("efs-id"), a.byte("sub-id"));
                }),
            row("delete-efs-dir", "deleteEfsDir", {kEfsId}, kText, "deletes an EFS directory",
                [](IModem& m, int32_t s, A a) { return m.deleteEfsDir(s, a.number("efs-id")); }),
            row("get-nr-network-mode", "getNrNetworkMode", {}, kText, "the NR network mode",
                [](IModem& m, int32_t s, A) { return m.getNrNetworkMode(s); }),
            row("set-nr-network-mode", "setNrNetworkMode", {kMode}, kText,
                "sets the NR network mode",
                [](IModem& m, int32_t s, A a) { return m.setNrNetworkMode(s, a.number("mode")); }),
            row("get-vonr-mode", "getVonrMode", {}, kText, "the voice-over-NR mode",
                [](IModem& m, int32_t s, A) { return m.getVonrMode(s); }),
            row("set-vonr-mode", "setVonrMode", {kMode}, kText, "sets the voice-over-NR mode",
                [](IModem& m, int32_t s, A a) { return m.setVonrMode(s, a.number("mode")); }),
            row("get-operating-mode", "getOperatingMode", {}, kText, "the modem's operating mode",
                [](IModem& m, int32_t s, A) { return m.getOperatingMode(s); }),
            row("set-operating-mode", "setOperatingMode", {kMode}, kText,
                "sets the modem's operating mode",
                [](IModem& m, int32_t s, A a) { return m.setOperatingMode(s, a.number("mode")); }),
            row("set-radio-info-report-switch", "setRadioInfoReportSwitch", {kOnOff}, kText,
                "switches radio information reports",
                [](IModem& m, int32_t s, A a) {
                    return m.setRadioInfoReportSwitch(s, a.on("on|off"));
                }),
            row("delete-ims-profile", "deleteImsProfile", {}, kText, "deletes all IMS profiles",
                [](IModem& m, int32_t s, A) { return m.deleteImsProfile(s); }),
            row("get-active-mbn-info", "getActiveMbnInfo", {kType}, kText,
                "the active MBN configuration of a type",
                [](IModem& m, int32_t s, A a) { return m.getActiveMbnInfo(s, a.number("type")); }),
            row("get-meta-mbn-info", "getMetaMbnInfo", {kId}, kText,
                "an MBN configuration's meta information",
                [](IModem& m, int32_t s, A a) { return m.getMetaMbnInfo(s, a.bytes("id")); }),
            row("get-mbn-list", "getMbnList", {}, kText,
                "the MBN configurations on the device, one per line",
                [](IModem& m, int32_t s, A) { return m.getMbnList(s); }),
            row("delete-all-mbns", "deleteAllMbns", {}, kText,
                "deletes every MBN configuration loaded in the modem",
                [](IModem& m, int32_t s, A) { return m.deleteAllMbns(s); }),
            row("select-mbn", "selectMbn", {kType, kId}, kText,
                "selects an MBN configuration for a type",
                [](IModem& m, int32_t s, A a) {
                    return m.selectMbn(s, a.number("type"), a.bytes("id"));
                }),
            row("load-mbn", "loadMbn", {kPath}, kText,
                "loads the MBN file at PATH (on the daemon's side) into the modem",
                [](IModem& m, int32_t s, A a) { return m.loadMbn(s, a.bytes("PATH")); }),
            row("activate-mbn", "activateMbn", {kType}, kText,
                "activates the selected MBN configuration of a type",
                [](IModem& m, int32_t s, A a) { return m.activateMbn(s, a.number("type")); }),
            row("deactivate-mbn", "deactivateMbn", {kType}, kText,
                "deactivates the MBN configuration of a type",
                [](IModem& m, int32_t s, A a) { return m.deactivateMbn(s, a.number("type")); }),
            row("activate-mbn-by-name", "activateMbnByName", {kName}, kText,
                "activates an MBN configuration by its name",
                [](IModem& m, int32_t s, A a) { return m.activateMbnByName(s, a.bytes("name")); }),
            row("restore-diff-qcn", "restoreDiffQcn", {}, kText, "restores the modem's QCN data",
                [](IModem& m, int32_t s, A) { return m.restoreDiffQcn(s); }),
            row("reboot-modem", "rebootModem", {}, kText, "reboots the modem",
                [](IModem& m, int32_t s, A) { return m.rebootModem(s); }),
            row("remove-rat-mask", "removeRatMask", {}, kText, "removes the modem's RAT mask",
                [](IModem& m, int32_t s, A) { return m.removeRatMask(s); }),
            row("get-modem-property", "getModemProperty", {kKey}, kText,
                "a vendor modem property's value",
                [](IModem& m, int32_t s, A a) { return m.getModemProperty(s, a.bytes("key")); }),
            row("set-modem-property", "setModemProperty", {kKey, kValue}, kText,
                "sets a vendor modem property",
                [](IModem& m, int32_t s, A a) {
                    return m.setModemProperty(s, a.bytes("key"), a.bytes("value"));
                }),
            row("delete-modem-property", "deleteModemProperty", {kKey}, kText,
                "deletes a vendor modem property",
                [](IModem& m, int32_t s, A a) { return m.deleteModemProperty(s, a.bytes("key")); }),
            row("get-5g-power-save-switch", "get5gPowerSaveSwitch", {}, kText,
                "whether 5G power saving is on",
                [](IModem& m, int32_t s, A) { return m.get5gPowerSaveSwitch(s); }),
            row("set-5g-power-save-switch", "set5gPowerSaveSwitch", {kOnOff}, kText,
                "switches 5G power saving",
                [](IModem& m, int32_t s, A a) {
                    return m.set5gPowerSaveSwitch(s, a.on("on|off"));
                }),
            row("set-5g-power-save-mode", "set5gPowerSaveMode", {kByteMode}, kText,
                "sets the 5G power saving mode",
                [](IModem& m, int32_t s, A a) { return m.set5gPowerSaveMode(s, a.byte("mode")); }),
            row("force-asdiv", "forceAsdiv", {kMode}, kText,
                "forces an antenna switch diversity mode",
                [](IModem& m, int32_t s, A a) { return m.forceAsdiv(s, a.number("mode")); }),
            row("get-simlock-fuse-state", "getSimlockFuseState", {}, kText,
                "the SIM-lock fuse state",
                [](IModem& m, int32_t s, A) { return m.getSimlockFuseState(s); }),
            row("get-qst-mode", "getQstMode", {}, kText, "the QST mode",
                [](IModem& m, int32_t s, A) { return m.getQstMode(s); }),
            row("set-qst-mode", "setQstMode", {kMode}, kText, "sets the QST mode",
                [](IModem& m, int32_t s, A a) { return m.setQstMode(s, a.number("mode")); }),
            row("abort-rrc-connection", "abortRrcConnection", {}, kText,
                "aborts the current RRC connection",
                [](IModem& m, int32_t s, A) { return m.abortRrcConnection(s); }),
            row("set-sar-state", "setSarState", {kState}, kText, "sets the SAR state",
                [](IModem& m, int32_t s, A a) { return m.setSarState(s, a.number("state")); }),
            row("inform-screen-state", "informScreenState", {kOnOff}, kText,
                "tells the modem whether the screen is on",
                [](IModem& m, int32_t s, A a) { return m.informScreenState(s, a.on("on|off")); }),
    };
    return rows;
}

// ---- Parsing ------------------------------------------------------------------------------------

const Argument* argumentOf(const Command& command, ArgKind kind) {
    for (const Argument& argument : command.args) {
        if (argument.kind == kind) {
            return &argument;
        }
    }
    return nullptr;
}

/** The argument of option --`name`, which takes a value; null if the command has none. */
const Argument* valuedOption(const Command& command, const std::string& name) {
    for (const Argument& argument : command.args) {
        const bool valued = argument.kind != ArgKind::OnOff && argument.kind != ArgKind::Path;
        if (valued &&
            (name == argument.name || (argument.kind == ArgKind::Data && name == "data-file"))) {
            return &argument;
        }
    }
    return nullptr;
}

bool parseValue(const Argument& argument, const std::string& option, const std::string& value,
                Args* args, std::string* why) {
    int64_t number = 0;
    switch (argument.kind) {
        case ArgKind::Int:
            if (!parseInteger(value, INT32_MIN, INT32_MAX, &number)) {
                *why = "--" + option + ": '" + value + "' is not a 32-bit integer";
                return false;
            }
            args->set(argument.name, static_cast<int32_t>(number));
            return true;
        case ArgKind::Byte:
            if (!parseInteger(value, INT8_MIN, UINT8_MAX, &number)) {
                *why = "--" + option + ": '" + value + "' is not a byte (0..255 or -128..127)";
                return false;
            }
            // 255 and -1 are the same bits, and the bits are what the modem gets.
            args->set(argument.name, static_cast<int8_t>(static_cast<uint8_t>(number & 0xff)));
            return true;
        case ArgKind::Data: {
            Bytes bytes;
            std::string reason;
            const bool ok = option == "data-file" ? readFile(value, kMaxDataFile, &bytes, &reason)
                                                  : parseHex(value, &bytes, &reason);
            if (!ok) {
                *why = "--" + option + ": " + (option == "data-file" ? value + ": " : "") + reason;
                return false;
            }
            args->set(argument.name, std::move(bytes));
            return true;
        }
        case ArgKind::Text:
        case ArgKind::Path:
            args->set(argument.name, Bytes(value.begin(), value.end()));
            return true;
        case ArgKind::OnOff:
            break;
    }
    return false;
}

std::string missing(const Argument& argument) {
    switch (argument.kind) {
        case ArgKind::OnOff:
            return "missing on|off";
        case ArgKind::Path:
            return std::string("missing ") + argument.name;
        case ArgKind::Data:
            return "missing --data or --data-file";
        default:
            return std::string("missing --") + argument.name;
    }
}

}  // namespace

const std::vector<Command>& commands() {
    return table();
}

const Command* findCommand(const std::string& name) {
    for (const Command& command : table()) {
        if (name == command.name) {
            return &command;
        }
    }
    return nullptr;
}

std::string responseMethod(const Command& command) {
    std::string method = command.method;
    method[0] = static_cast<char>(method[0] - 'a' + 'A');
    return "respond" + method;
}

std::string synopsis(const Command& command) {
    std::string text = command.name;
    for (const Argument& argument : command.args) {
        switch (argument.kind) {
            case ArgKind::Int:
                text += std::string(" --") + argument.name + " N";
                break;
            case ArgKind::Byte:
                text += std::string(" --") + argument.name + " B";
                break;
            case ArgKind::Text:
                text += std::string(" --") + argument.name + " TEXT";
                break;
            case ArgKind::Data:
                text += " (--data HEX | --data-file FILE)";
                break;
            case ArgKind::OnOff:
            case ArgKind::Path:
                text += std::string(" ") + argument.name;
                break;
        }
    }
    return text;
}

bool parseArgs(const Command& command, const std::vector<std::string>& tokens, Args* args,
               bool* help, std::string* why) {
    Args parsed;
    const Argument* onOff = argumentOf(command, ArgKind::OnOff);
    const Argument* path = argumentOf(command, ArgKind::Path);
    *help = false;
    for (size_t i = 0; i < tokens.size(); ++i) {
        const std::string& token = tokens[i];
        if (token == "--help" || token == "-h") {
            *help = true;
            return true;
        }
        if (token.size() > 2 && token.compare(0, 2, "--") == 0) {
            std::string option = token.substr(2);
            std::optional<std::string> value;
            const size_t equals = option.find('=');
            if (equals != std::string::npos) {
                value = option.substr(equals + 1);
                option.resize(equals);
            }
            if (onOff != nullptr && (option == "on" || option == "off")) {
                if (value) {
                    *why = "--" + option + " takes no value";
                    return false;
                }
                if (parsed.has(onOff->name)) {
                    *why = "on or off given twice";
                    return false;
                }
                parsed.set(onOff->name, option == "on" ? 1 : 0);
                continue;
            }
            const Argument* argument = valuedOption(command, option);
            if (argument == nullptr) {
                *why = "unknown option --" + option;
                return false;
            }
            if (!value) {
                if (i + 1 == tokens.size()) {
                    *why = "--" + option + " needs a value";
                    return false;
                }
                value = tokens[++i];
            }
            if (parsed.has(argument->name)) {
                *why = argument->kind == ArgKind::Data ? "--data or --data-file given twice"
                                                       : "--" + option + " given twice";
                return false;
            }
            if (!parseValue(*argument, option, *value, &parsed, why)) {
                return false;
            }
        } else if (path != nullptr && !parsed.has(path->name)) {
            parsed.set(path->name, Bytes(token.begin(), token.end()));
        } else if (onOff != nullptr && !parsed.has(onOff->name) &&
                   (token == "on" || token == "off")) {
            parsed.set(onOff->name, token == "on" ? 1 : 0);
        } else {
            *why = "unexpected argument '" + token + "'";
            return false;
        }
    }
    for (const Argument& argument : command.args) {
        if (!parsed.has(argument.name)) {
            *why = missing(argument);
            return false;
        }
    }
    *args = std::move(parsed);
    return true;
}

}  // namespace com::vyr::plim::cli
