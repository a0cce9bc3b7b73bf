#include "tools/tester/TroubleCodeEar.h"

#include "tools/tester/Codes.h"

namespace tester {

using eb::com::runtime::Client;
using eb::com::runtime::Event_state;

namespace {

std::string stateWord(std::vector<unsigned char> const& bytes) {
    if (bytes.size() != 1) return "undecodable: 1 byte expected, received " + std::to_string(bytes.size());
    return monitorStateName(bytes[0]);
}

}  // namespace

void TroubleCodeEar::event_updated(eb::com::runtime::Serialized_payload payload) {
    m_tell({&m_code, Sighting::Kind::state, payload.bytes(), stateWord(payload.bytes())});
}

void TroubleCodeEar::event_state_changed(Event_state state) {
    char const* const word = state == Event_state::subscribed ? "subscribed"
                             : state == Event_state::pending  ? "pending"
                                                              : "not_subscribed";
    m_tell({&m_code, Sighting::Kind::subscription, {}, word});
}

void TroubleCodeEar::service_state_changed(Client::Service_state state) {
    bool const there = state == Client::Service_state::available;
    m_tell({&m_code, Sighting::Kind::service, {}, there ? "available" : "unavailable"});
}

}  // namespace tester
