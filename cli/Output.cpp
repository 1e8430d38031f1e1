/*
 * Copyright (C) 2026 The plim-modem developers
 */

#include "Output.h"

#include "Cli.h"

namespace com::vyr::plim::cli {

namespace {

constexpr const char* kErrorNames[] = {
        "OK", "FAILED", "UNSUPPORTED", "INVALID_ARGUMENT", "INVALID_STATE", "NO_MEMORY"};
constexpr int32_t kErrorCount = sizeof(kErrorNames) / sizeof(kErrorNames[0]);

std::string orEmpty(const std::string& shown) {
    return shown.empty() ? "(empty)" : shown;
}

}  // namespace

const char* errorName(int32_t error) {
    return error >= 0 && error < kErrorCount ? kErrorNames[error] : "UNKNOWN";
}

std::string humanText(const Command& command, const Reply& reply) {
    std::string text = std::string(command.name) + ": error " + std::to_string(reply.error) + " (" +
                       errorName(reply.error) + ")";
    std::string entries;
    switch (reply.type) {
        case Reply::Type::None:
            break;
        case Reply::Type::Text:
            text += ", result: " + orEmpty(printable(reply.text));
            break;
        case Reply::Type::Bytes:
            text += ", result: " + orEmpty(command.bytesAs == BytesAs::Hex
                                                   ? spacedHex(reply.bytes)
                                                   : printable(std::string(reply.bytes.begin(),
                                                                           reply.bytes.end())));
            break;
        case Reply::Type::Texts:
            text += ", result: " + std::to_string(reply.texts.size()) +
                    (reply.texts.size() == 1 ? " entry" : " entries");
            for (const std::string& entry : reply.texts) {
                entries += printable(entry) + "\n";
            }
            break;
        case Reply::Type::Int:
            text += ", result: " + std::to_string(reply.number);
            break;
        case Reply::Type::Bool:
            text += std::string(", result: ") + (reply.flag ? "true" : "false");
            break;
    }
    return text + "\n" + entries;
}

std::string jsonText(const Command& command, int32_t serial, const Reply& reply) {
    std::string result = "null";
    switch (reply.type) {
        case Reply::Type::None:
            break;
        case Reply::Type::Text:
            result = jsonString(reply.text);
            break;
        case Reply::Type::Bytes:
            result = "\"" + compactHex(reply.bytes) + "\"";
            break;
        case Reply::Type::Texts:
            result = "[";
            for (size_t i = 0; i < reply.texts.size(); ++i) {
                result += (i == 0 ? "" : ",") + jsonString(reply.texts[i]);
            }
            result += "]";
            break;
        case Reply::Type::Int:
            result = std::to_string(reply.number);
            break;
        case Reply::Type::Bool:
            result = reply.flag ? "true" : "false";
            break;
    }
    return "{\"request\":" + jsonString(command.name) + ",\"serial\":" + std::to_string(serial) +
           ",\"error\":" + std::to_string(reply.error) + ",\"result\":" + result + "}\n";
}

int exitStatusOf(const Reply& reply) {
    if (reply.error == 0) {
        return EXIT_OK;
    }
    return reply.error > 0 && reply.error < kErrorCount ? EXIT_MODEM_ERROR_BASE + reply.error
                                                        : EXIT_BAD_ANSWER;
}

}  // namespace com::vyr::plim::cli
