#include "platform/com/runtime/Session.h"

#include <utility>

#include "platform/com/runtime/Log.h"

namespace eb::com::runtime {

Session::Session(std::shared_ptr<Loop> loop, std::shared_ptr<Call_source> source, std::size_t bytes,
                 ac::com::cpp_binding::skeleton::Reply_function answer, std::function<void()> ended)
    : m_loop(std::move(loop)),
      m_source(std::move(source)),
      m_bytes(bytes),
      m_answer(std::move(answer)),
      m_ended(std::move(ended)) {
    m_source->taken(m_bytes);
}

Session::~Session() {
    try {
        begin();
        m_loop->post(std::move(m_ended));
    } catch (...) {
        log(ara::log::LogLevel::kError, "no memory to end a call");
    }
}

void Session::begin() {
    if (!m_begun.exchange(true)) m_source->left(m_bytes);
}

void Session::reply(std::uint8_t code, Serialized_payload payload) {
    if (!m_answered.exchange(true)) m_answer(code, std::move(payload));
}

ac::com::cpp_binding::skeleton::Reply_function Session::replyOf(std::shared_ptr<Session> session) {
    return [session = std::move(session)](std::uint8_t code, Serialized_payload payload) {
        session->reply(code, std::move(payload));
    };
}

}  // namespace eb::com::runtime
