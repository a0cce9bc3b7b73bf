#include "platform/com/deployment/Deployment.h"

namespace eb::com::runtime {

std::string Address::text() const {
    std::string text;
    for (unsigned shift = 24;; shift -= 8) {
        text += std::to_string((ip >> shift) & 0xFFU);
        if (shift == 0) break;
        text += '.';
    }
    return text + ":" + std::to_string(port);
}

std::string Endpoint::text() const {
    return (transport == Transport::tcp ? "tcp " : "udp ") + address.text();
}

std::string Port_range::text() const {
    std::string const text = Address{ip, first}.text();
    return count == 1 ? text : text + "-" + std::to_string(first + count - 1);
}

std::string Service_version::text() const {
    return std::to_string(major()) + "." + std::to_string(minor());
}

bool Service_version::settle(Service_interface_description const& description) const noexcept {
    // A header has eight bits for the major version.
    std::uint64_t const own = packed(static_cast<std::uint8_t>(description.major()), description.minor());
    std::uint64_t present = NONE;
    return m_value.compare_exchange_strong(present, own) || present == own;
}

Service_deployment const* Deployment::find(Service_id const& service,
                                           Instance_id const& instance) const noexcept {
    for (Service_deployment const& row : services)
        if (row.interface == service && row.instance == instance) return &row;
    return nullptr;
}

}  // namespace eb::com::runtime
