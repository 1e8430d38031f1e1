/*
 * Copyright (C) 2026 The plim-modem developers
 */

#include <modem_sim/ModemSimControl.h>

#include <algorithm>

#include "JobThread.h"
#include "Modem.h"

namespace modemsim {

namespace {

// The C API reports the table's size in one byte.
constexpr size_t kMaxImsProfiles = 255;

Modem& modem() {
    return Modem::instance();
}

}  // namespace

void Control::reset() {
    modem().reset();
}

void Control::setServiceAvailable(int32_t serviceId, bool available) {
    modem().change([&](Device& device) {
        device.services.setAvailable(serviceId, available, Modem::Clock::now());
    });
}

void Control::restartModem(std::chrono::milliseconds downtime) {
    modem().change(
            [&](Device& device) { device.services.restart(Modem::Clock::now() + downtime); });
}

void Control::setConnectDelay(std::chrono::milliseconds delay) {
    modem().change([&](Device& device) { device.connectDelay = delay; });
}

void Control::failNextCalls(const std::string& function, int count, modem_api_result_type result,
                            int skip) {
    modem().change([&](Device& device) { device.faults.failNext(function, count, result, skip); });
}

void Control::setLatency(const std::string& function, std::chrono::microseconds latency) {
    modem().change([&](Device& device) { device.faults.setLatency(function, latency); });
}

void Control::injectEvent(modem_api_event_type event, const std::vector<uint8_t>& data,
                          bool nullData) {
    modem().injectEvent(event, data, nullData);
}

std::vector<Call> Control::calls() {
    return modem().inspect([](const Device& device) {
        return std::vector<Call>(device.calls.begin(), device.calls.end());
    });
}

std::vector<std::string> Control::callTexts() {
    std::vector<std::string> texts;
    for (const Call& call : calls())
        texts.push_back(call.text());
    return texts;
}

size_t Control::countCalls(const std::string& function) {
    return modem().inspect([&](const Device& device) {
        return static_cast<size_t>(
                std::count_if(device.calls.begin(), device.calls.end(),
                              [&](const Call& call) { return call.function == function; }));
    });
}

void Control::clearCalls() {
    modem().change([](Device& device) { device.calls.clear(); });
}

State Control::state() {
    return modem().inspect([](const Device& device) { return device.settings; });
}

void Control::editState(const std::function<void(State&)>& edit) {
    modem().change([&](Device& device) { edit(device.settings); });
}

void Control::tamperNextReplies(const std::string& function, int count, const ReplyTamper& tamper,
                                int skip) {
    modem().change(
            [&](Device& device) { device.tampers.tamperNext(function, count, tamper, skip); });
}

void Control::tamperNextEvents(modem_api_event_type event, int count, const EventTamper& tamper,
                               int skip) {
    modem().change(
            [&](Device& device) { device.eventTampers.tamperNext(event, count, tamper, skip); });
}

void Control::setRebootDowntime(std::chrono::milliseconds downtime) {
    modem().change([&](Device& device) { device.rebootDowntime = downtime; });
}

void Control::setImsProfiles(const std::vector<modem_qdp_profile_id>& profiles) {
    const size_t kept = std::min(profiles.size(), kMaxImsProfiles);
    modem().change([&](Device& device) {
        device.settings.imsProfiles.assign(profiles.begin(), profiles.begin() + kept);
    });
}

bool Control::isConnected(int32_t serviceId) {
    return modem().inspect(
            [&](const Device& device) { return device.services.isConnected(serviceId); });
}

bool Control::waitForIdle(std::chrono::milliseconds timeout) {
    return modem().waitForIdle(timeout);
}

bool Control::isLibraryThread() {
    return JobThread::isJobThread();
}

}  // namespace modemsim
