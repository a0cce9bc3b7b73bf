#pragma once

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include <ac/com/cpp_binding/skeleton/Method_dispatcher.h>
#include <ac/com/cpp_binding/skeleton/Pport.h>

namespace client_test {

using Bytes = std::vector<unsigned char>;

/// The remote service in this process, on the runtime's own port: answers reads as a test says. Any thread.
class DataService {
public:
    using Reply = ac::com::cpp_binding::skeleton::Reply_function;
    /// What becomes of a read. Runs on a thread of the pool, several at a time.
    using Behaviour = std::function<void(std::uint32_t record, Reply const&)>;

    DataService();
    ~DataService();
    DataService(DataService const&) = delete;
    DataService& operator=(DataService const&) = delete;

    void offer();
    void withdraw();

    /// Sends the field's new value as these bytes.
    void notify(Bytes const& payload);

    void setValue(std::uint32_t record, Bytes value);
    void setResult(std::uint32_t record, std::uint32_t resultCode);
    /// Takes the place of the plain answers; an empty one gives it back.
    void behave(Behaviour behaviour);
    /// The plain answer.
    void answer(std::uint32_t record, Reply const& reply);

    static void answerWith(Reply const& reply, Bytes const& value, std::uint32_t resultCode = 0);
    static void send(Reply const& reply, unsigned char returnCode, Bytes const& payload);

    /// Payloads of the reads so far.
    std::vector<Bytes> requests() const;
    bool awaitRequests(std::size_t count) const;
    void forgetRequests();

private:
    /// One offer; the next is made anew.
    struct Offer;

    void read(Reply const& reply, Bytes const& request);

    mutable std::mutex m_mutex;
    mutable std::condition_variable m_changed;
    std::map<std::uint32_t, Bytes> m_values;  // guarded by m_mutex, as all that follows but m_offer
    std::map<std::uint32_t, std::uint32_t> m_results;
    Behaviour m_behaviour;
    std::vector<Bytes> m_requests;
    std::unique_ptr<Offer> m_offer;  // of the test's thread
};

/// The bytes of a 32-bit number as they travel.
Bytes bigEndian(std::uint32_t number);

/// A value of the field: elements with that name space, or without one (none).
Bytes hashes(std::vector<int> const& nameSpaces);
constexpr int NONE = -1;

}  // namespace client_test
