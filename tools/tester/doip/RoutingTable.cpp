#include "tools/tester/doip/RoutingTable.h"

#include <vector>

#include <asio/post.hpp>

#include "tools/tester/doip/Connection.h"

namespace tester::doip {

namespace {

// Activation types that every entity has to support (ISO 13400-2, table of activation types).
constexpr std::uint8_t ACTIVATION_DEFAULT = 0x00;
constexpr std::uint8_t ACTIVATION_REGULATED = 0x01;

}  // namespace

RoutingTable::RoutingTable(asio::io_context& context, Entity const& entity, Transport const& transport)
    : m_context(context), m_entity(entity), m_transport(transport) {}

void RoutingTable::request(Connection& connection, std::uint16_t tester, std::uint8_t type, Answer answer) {
    if (!m_entity.isTester(tester)) return answer(Activation::unknownSource);
    if (type != ACTIVATION_DEFAULT && type != ACTIVATION_REGULATED)
        return answer(Activation::unsupportedType);
    if (auto const own = m_byConnection.find(&connection); own != m_byConnection.end())
        return answer(own->second == tester ? Activation::activated : Activation::otherSource);

    Connection* const holder = holderOf(tester);
    if (!holder && active() < m_transport.sockets)
        return answer(tryToActivate(connection, tester, Activation::noFreeSocket));
    std::unique_ptr<Inquiry> inquiry(
        new Inquiry{&connection, tester, std::move(answer), {}, Activation::noFreeSocket, Alarm(m_context)});
    if (holder) {
        inquiry->otherwise = Activation::alreadyActive;
        inquiry->asked.insert(holder);
    } else {
        for (auto const& [each, address] : m_byConnection) inquiry->asked.insert(each);
    }
    inquire(std::move(inquiry));
}

void RoutingTable::inquire(std::unique_ptr<Inquiry> inquiry) {
    Inquiry* const raw = inquiry.get();
    raw->limit.set(m_transport.aliveCheck, [this, raw] { closeSilent(raw); });
    auto const asked = raw->asked;
    m_inquiries.push_back(std::move(inquiry));
    for (Connection* each : asked) each->askWhetherAlive();
}

/// Each connection that goes settles what waits for it.
void RoutingTable::closeSilent(Inquiry* inquiry) {
    std::vector<std::shared_ptr<Connection>> silent;
    for (Connection* each : inquiry->asked) silent.push_back(each->shared_from_this());
    for (auto const& each : silent) each->close("no answer to an alive check");
}

void RoutingTable::alive(Connection& connection) {
    for (auto each = m_inquiries.begin(); each != m_inquiries.end();) {
        auto const inquiry = each++;
        if ((*inquiry)->asked.erase(&connection) != 0 && (*inquiry)->asked.empty()) settle(inquiry);
    }
}

void RoutingTable::remove(Connection& connection) {
    m_inquiries.remove_if([&](auto const& each) { return each->connection == &connection; });
    if (auto const own = m_byConnection.find(&connection); own != m_byConnection.end()) {
        m_byTester.erase(own->second);
        m_byConnection.erase(own);
    }
    for (auto each = m_inquiries.begin(); each != m_inquiries.end();) {
        auto const inquiry = each++;
        if ((*inquiry)->asked.erase(&connection) != 0) settle(inquiry);
    }
}

/// The answer comes later, as it may change this table.
void RoutingTable::settle(Inquiries::iterator inquiry) {
    auto const settled = std::move(*inquiry);
    m_inquiries.erase(inquiry);
    auto const code = tryToActivate(*settled->connection, settled->tester, settled->otherwise);
    asio::post(m_context, [answer = std::move(settled->answer), code] { answer(code); });
}

Activation RoutingTable::tryToActivate(Connection& connection, std::uint16_t tester, Activation otherwise) {
    if (holderOf(tester)) return Activation::alreadyActive;
    if (active() >= m_transport.sockets) return otherwise;
    m_byTester[tester] = &connection;
    m_byConnection[&connection] = tester;
    return Activation::activated;
}

Connection* RoutingTable::holderOf(std::uint16_t tester) const {
    auto const found = m_byTester.find(tester);
    return found == m_byTester.end() ? nullptr : found->second;
}

}  // namespace tester::doip
