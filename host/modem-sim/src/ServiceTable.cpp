/*
 * Copyright (C) 2026 The plim-modem developers
 */

#include "ServiceTable.h"

#include <algorithm>

namespace modemsim {

bool ServiceTable::request(int32_t serviceId, Clock::time_point now) {
    Service& service = mServices[serviceId];
    if (service.requested)
        return false;
    service.requested = true;
    service.requestedAt = now;
    mRequestOrder.push_back(serviceId);
    return true;
}

bool ServiceTable::release(int32_t serviceId) {
    auto it = mServices.find(serviceId);
    if (it == mServices.end() || !it->second.requested)
        return false;
    disconnect(serviceId, it->second);
    it->second.requested = false;
    mRequestOrder.erase(std::find(mRequestOrder.begin(), mRequestOrder.end(), serviceId));
    return true;
}

void ServiceTable::setAvailable(int32_t serviceId, bool available, Clock::time_point now) {
    Service& service = mServices[serviceId];
    if (service.available == available)
        return;
    service.available = available;
    if (available)
        service.availableSince = now;
    else
        disconnect(serviceId, service);
}

void ServiceTable::restart(Clock::time_point backAt) {
    // Dropped in request order, as they were reported connected.
    for (int32_t serviceId : mRequestOrder)
        disconnect(serviceId, mServices[serviceId]);
    mDownUntil = backAt;
}

bool ServiceTable::isConnected(int32_t serviceId) const {
    auto it = mServices.find(serviceId);
    return it != mServices.end() && it->second.connected;
}

std::optional<ServiceTable::Clock::time_point> ServiceTable::connectDue(Clock::time_point now,
                                                                        Clock::duration delay) {
    std::optional<Clock::time_point> next;
    for (int32_t serviceId : mRequestOrder) {
        Service& service = mServices[serviceId];
        if (!service.available || service.connected)
            continue;
        const Clock::time_point due =
                std::max({service.requestedAt, service.availableSince, mDownUntil}) + delay;
        if (due <= now) {
            service.connected = true;
            mTransitions.push_back({serviceId, true});
        } else if (!next || due < *next) {
            next = due;
        }
    }
    return next;
}

std::vector<ServiceTable::Transition> ServiceTable::takeTransitions() {
    std::vector<Transition> taken;
    taken.swap(mTransitions);
    return taken;
}

void ServiceTable::disconnect(int32_t serviceId, Service& service) {
    if (!service.connected)
        return;
    service.connected = false;
    mTransitions.push_back({serviceId, false});
}

}  // namespace modemsim
