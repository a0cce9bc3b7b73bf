#include "platform/log/Dlt_target.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>

namespace ara::log {
namespace {

/// Has all signals blocked while it lives, so that threads which libdlt starts meanwhile get none.
class Signals_blocked {
public:
    Signals_blocked() {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &m_before);
    }
    ~Signals_blocked() { pthread_sigmask(SIG_SETMASK, &m_before, nullptr); }
    Signals_blocked(Signals_blocked const&) = delete;
    Signals_blocked& operator=(Signals_blocked const&) = delete;

private:
    sigset_t m_before{};
};

bool continuesCharacter(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U;
}

/// Our levels are numbered as DLT's.
DltLogLevelType dltLevel(LogLevel level) {
    return static_cast<DltLogLevelType>(level);
}

}  // namespace

std::list<std::string_view> dltPieces(std::string_view text) {
    constexpr std::size_t LONGEST_CHARACTER = 4;
    std::list<std::string_view> pieces;
    while (text.size() > Dlt_target::PIECE_BYTES) {
        std::size_t size = Dlt_target::PIECE_BYTES;
        while (size > Dlt_target::PIECE_BYTES - LONGEST_CHARACTER && continuesCharacter(text[size])) --size;
        if (continuesCharacter(text[size])) size = Dlt_target::PIECE_BYTES;  // no UTF-8
        pieces.push_back(text.substr(0, size));
        text.remove_prefix(size);
    }
    pieces.push_back(text);
    return pieces;
}

Dlt_target& Dlt_target::instance(std::string application) {
    static Dlt_target& target = *new Dlt_target(application);
    return target;
}

Dlt_target::Dlt_target(std::string const& application) {
    // libdlt tells its troubles on the standard output, which belongs to the program.
    ::setenv("DLT_LOG_MODE", "3", 0);
    Signals_blocked const blocked;
    dlt_register_app(application.substr(0, DLT_ID_SIZE).c_str(), program_invocation_short_name);
    dlt_set_resend_timeout_atexit(EXIT_LIMIT_MS);
    // After libdlt's own handler, so that it runs before it: nothing uses libdlt when it ends.
    std::atexit(&Dlt_target::end);
}

void Dlt_target::end() {
    Dlt_target& target = instance();
    std::lock_guard lock(target.m_mutex);
    target.m_ended = true;
}

DltContext& Dlt_target::contextOf(std::string_view name) {
    auto const [context, added] = m_contexts.try_emplace(std::string(name));
    if (added) {
        Signals_blocked const blocked;
        // What a level lets pass was decided already; from the daemon on, DLT's own filters decide.
        dlt_register_context_ll_ts(&context->second, context->first.c_str(), "", DLT_LOG_VERBOSE,
                                   DLT_TRACE_STATUS_OFF);
    }
    return context->second;
}

void Dlt_target::write(LogLevel level, std::string_view context, std::string_view text) {
    if (!text.empty() && text.back() == '\n') text.remove_suffix(1);
    std::lock_guard lock(m_mutex);
    if (m_ended) return;
    DltContext& handle = contextOf(context);
    for (std::string_view const piece : dltPieces(text)) {
        DltContextData data{};
        if (dlt_user_log_write_start(&handle, &data, dltLevel(level)) <= 0) return;
        dlt_user_log_write_sized_string(&data, piece.data(), static_cast<std::uint16_t>(piece.size()));
        dlt_user_log_write_finish(&data);
    }
}

}  // namespace ara::log
