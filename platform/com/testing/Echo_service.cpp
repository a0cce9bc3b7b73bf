#include "platform/com/testing/Echo_service.h"

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <utility>

namespace eb::com::runtime::testing {

using ac::com::cpp_binding::skeleton::Method_call_id;
using ac::com::cpp_binding::skeleton::Reply_function;

Worker::Worker() : m_thread([this] { work(); }) {}

Worker::~Worker() {
    {
        std::lock_guard lock(m_mutex);
        m_ended = true;
        m_changed.notify_all();
    }
    m_thread.join();
}

void Worker::post(std::function<void()>&& call) {
    std::lock_guard lock(m_mutex);
    m_calls.push_back(std::move(call));
    m_changed.notify_all();
}

void Worker::wait() {
    if (std::this_thread::get_id() == m_thread.get_id()) return;
    std::unique_lock lock(m_mutex);
    m_changed.wait(lock, [this] { return m_calls.empty() && !m_busy; });
}

void Worker::work() {
    std::unique_lock lock(m_mutex);
    for (;;) {
        m_changed.wait(lock, [this] { return m_ended || !m_calls.empty(); });
        if (m_calls.empty()) return;
        std::function<void()> call = std::move(m_calls.front());
        m_calls.pop_front();
        m_busy = true;
        lock.unlock();
        call();
        call = nullptr;
        lock.lock();
        m_busy = false;
        m_changed.notify_all();
    }
}

std::string manifest(Address const& address, std::string const& limits) {
    std::string const text = address.text();
    std::string const at =
        R"("address": ")" + text.substr(0, text.find(':')) + R"(", "port": )" + std::to_string(address.port);
    return R"({"discovery": {"mode": "static"}, "limits": )" + limits +
           R"(, "defaults": {"instance": "1", "instance_id": 1,
        "version": {"major": 2, "minor": 0}, "methods": [
            {"name": "Big", "id": 1}, {"name": "Echo", "id": 2}, {"name": "Fail", "id": 3}, {"name": "Hold", "id": 4},
            {"name": "Never", "id": 5}, {"name": "Throw", "id": 6}, {"name": "Unhandled", "id": 7}]},
      "services": [
        {"interface": "test::Tcp", "service_id": "0x1001", "endpoint": {"transport": "tcp", )" +
           at + R"(}},
        {"interface": "test::Udp", "service_id": "0x1002", "endpoint": {"transport": "udp", )" +
           at + "}}]}";
}

std::unique_ptr<ac::com::runtime::Component_singleton> makeRuntime(std::string const& manifest) {
    std::string path = (std::filesystem::temp_directory_path() / "ara_com_manifest_XXXXXX").string();
    ::close(::mkstemp(path.data()));
    std::ofstream(path) << manifest;
    ::setenv("ARA_COM_MANIFEST", path.c_str(), 1);
    auto runtime = std::make_unique<ac::com::runtime::Component_singleton>(false, "");
    ::unsetenv("ARA_COM_MANIFEST");
    std::filesystem::remove(path);
    return runtime;
}

Echo_service::Echo_service(std::string const& interface)
    : port({interface}, {"1"}, {0x20000}), dispatcher(port, std::make_unique<Worker>()) {
    dispatcher.add_method(
        BIG, [](Method_call_id, Reply_function const& reply, Serialized_payload const& request) {
            std::size_t size = 0;
            for (unsigned char const byte : request.bytes()) size = size << 8U | byte;
            reply(0, Serialized_payload(std::make_shared<std::vector<unsigned char>>(size, 0x5A)));
        });
    dispatcher.add_method(ECHO,
                          [](Method_call_id, Reply_function const& reply, Serialized_payload const& request) {
                              if (reply) reply(0, request);
                          });
    dispatcher.add_method(FAIL, [](Method_call_id, Reply_function const& reply, Serialized_payload const&) {
        reply(2, Serialized_payload(std::make_shared<std::vector<unsigned char>>(1, std::uint8_t{0x26})));
    });
    dispatcher.add_method(HOLD,
                          [this](Method_call_id, Reply_function const& reply, Serialized_payload const&) {
                              std::lock_guard lock(m_mutex);
                              m_held.push_back(reply);
                          });
    dispatcher.add_method(NEVER, [](Method_call_id, Reply_function const&, Serialized_payload const&) {});
    dispatcher.add_method(THROW, [](Method_call_id, Reply_function const&, Serialized_payload const&) {
        throw std::runtime_error("out of a handler");
    });
    dispatcher.start();
    port.start_offer();
}

Echo_service::~Echo_service() {
    port.stop_offer();
    dispatcher.stop();
}

std::vector<Reply_function> Echo_service::takeHeld() {
    std::lock_guard lock(m_mutex);
    return std::exchange(m_held, {});
}

std::size_t Echo_service::held() const {
    std::lock_guard lock(m_mutex);
    return m_held.size();
}

}  // namespace eb::com::runtime::testing
