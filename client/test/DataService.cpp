#include "client/test/DataService.h"

#include <chrono>
#include <utility>

#include <ac/com/runtime/Component_singleton.h>

#include "binding/skeleton/Method_processors.h"
#include "tests/support/Patience.h"

namespace client_test {

namespace skeleton = ac::com::cpp_binding::skeleton;
using eb::com::runtime::Serialized_payload;

namespace {

using test::PATIENCE;
constexpr unsigned short GET_DIAGNOSTIC_DATA_VALUES = 2;
constexpr unsigned short NOTIFY = 0;

void append(Bytes& all, Bytes const& more) {
    all.insert(all.end(), more.begin(), more.end());
}

}  // namespace

Bytes bigEndian(std::uint32_t number) {
    return {static_cast<unsigned char>(number >> 24U), static_cast<unsigned char>(number >> 16U),
            static_cast<unsigned char>(number >> 8U), static_cast<unsigned char>(number)};
}

Bytes hashes(std::vector<int> const& nameSpaces) {
    Bytes elements;
    for (int const nameSpace : nameSpaces) {
        Bytes members;
        if (nameSpace != NONE) {
            append(members, {0x20, 0x00});
            append(members, bigEndian(static_cast<std::uint32_t>(nameSpace)));
        }
        append(members, {0x30, 0x02, 0, 0, 0, 0, 0, 0, 0, 17});  // hashValue
        append(elements, bigEndian(static_cast<std::uint32_t>(members.size())));
        append(elements, members);
    }
    Bytes all = bigEndian(static_cast<std::uint32_t>(elements.size()));
    append(all, elements);
    return all;
}

struct DataService::Offer {
    explicit Offer(DataService& owner)
        : port({"zvg::services::diagnosticdatadistribution::DiagnosticDataDistribution"}, {"1"},
               {0x00030001}),
          dispatcher(port, skeleton::detail::make_method_processor(
                               skeleton::detail::Processing_mode::parallel,
                               ac::com::runtime::Component_singleton::get_thread_pool_factory().get(1))) {
        dispatcher.add_method(
            GET_DIAGNOSTIC_DATA_VALUES,
            [&owner](skeleton::Method_call_id, skeleton::Reply_function const& reply,
                     Serialized_payload const& request) { owner.read(reply, request.bytes()); });
        dispatcher.start();
        port.start_offer();
    }
    ~Offer() {
        port.stop_offer();
        dispatcher.stop();
    }
    Offer(Offer const&) = delete;
    Offer& operator=(Offer const&) = delete;

    skeleton::Pport port;
    skeleton::Method_dispatcher dispatcher;
};

DataService::DataService() = default;

DataService::~DataService() {
    withdraw();
}

void DataService::offer() {
    m_offer = std::make_unique<Offer>(*this);
}

void DataService::withdraw() {
    m_offer.reset();
}

void DataService::notify(Bytes const& payload) {
    m_offer->port.send_event(NOTIFY, Serialized_payload(std::make_shared<Bytes const>(payload)));
}

void DataService::setValue(std::uint32_t record, Bytes value) {
    std::lock_guard const lock(m_mutex);
    m_values[record] = std::move(value);
}

void DataService::setResult(std::uint32_t record, std::uint32_t resultCode) {
    std::lock_guard const lock(m_mutex);
    m_results[record] = resultCode;
}

void DataService::behave(Behaviour behaviour) {
    std::lock_guard const lock(m_mutex);
    m_behaviour = std::move(behaviour);
}

void DataService::answer(std::uint32_t record, Reply const& reply) {
    std::unique_lock lock(m_mutex);
    Bytes const value = m_values[record];
    std::uint32_t const result = m_results[record];
    lock.unlock();
    answerWith(reply, value, result);
}

void DataService::answerWith(Reply const& reply, Bytes const& value, std::uint32_t resultCode) {
    Bytes payload = bigEndian(static_cast<std::uint32_t>(value.size()));
    append(payload, value);
    append(payload, bigEndian(resultCode));
    send(reply, 0, payload);
}

void DataService::send(Reply const& reply, unsigned char returnCode, Bytes const& payload) {
    reply(returnCode, Serialized_payload(std::make_shared<Bytes const>(payload)));
}

void DataService::read(Reply const& reply, Bytes const& request) {
    std::unique_lock lock(m_mutex);
    m_requests.push_back(request);
    Behaviour const behaviour = m_behaviour;
    lock.unlock();
    m_changed.notify_all();
    std::uint32_t record = 0;
    for (std::size_t i = 8; i < 12 && i < request.size(); ++i) record = record << 8U | request[i];
    if (behaviour) {
        behaviour(record, reply);
    } else {
        answer(record, reply);
    }
}

std::vector<Bytes> DataService::requests() const {
    std::lock_guard const lock(m_mutex);
    return m_requests;
}

bool DataService::awaitRequests(std::size_t count) const {
    std::unique_lock lock(m_mutex);
    return m_changed.wait_for(lock, PATIENCE, [&] { return m_requests.size() >= count; });
}

void DataService::forgetRequests() {
    std::lock_guard const lock(m_mutex);
    m_requests.clear();
}

}  // namespace client_test
