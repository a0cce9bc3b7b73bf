#include "tools/tester/Session.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

#include "tools/tester/Targets.h"

namespace tester {

std::string Paint::in(char const* color, std::string const& text) const {
    return m_on ? std::string("\033[") + color + 'm' + text + "\033[0m" : text;
}

Session::Session(Options options, Environment& environment)
    : m_options(std::move(options)), m_environment(environment) {}

Paint Session::paint() const {
    switch (m_options.color) {
        case Color::always:
            return Paint(true);
        case Color::never:
            return Paint(false);
        case Color::automatic:
            break;
    }
    char const* const noColor = std::getenv("NO_COLOR");
    return Paint(m_environment.outIsTerminal && (!noColor || !*noColor));
}

bool Session::asked() {
    unsigned const all = m_environment.inquiries ? m_environment.inquiries->load() : 0;
    return std::exchange(m_inquiries, all) != all;
}

void Session::setEnvironment() const {
    // The runtime takes its settings from here; no other thread looks at the environment yet.
    if (!m_options.manifest.empty()) setenv("ARA_COM_MANIFEST", m_options.manifest.c_str(), 1);
    if (!m_options.address.empty()) setenv("ARA_COM_ADDRESS", m_options.address.c_str(), 1);
    if (m_options.verbose) setenv("ARA_LOG_LEVEL", "debug", 0);
}

eb::com::runtime::Deployed_services Session::deployed() {
    setEnvironment();
    return eb::com::runtime::deployed_services();
}

Services& Session::services() {
    if (!m_services) {
        setEnvironment();
        m_services = m_environment.services();
    }
    return *m_services;
}

Reached Session::reach(Target const& target) {
    using std::chrono::steady_clock;
    Services& services = this->services();
    if (!m_waitUntil) m_waitUntil = steady_clock::now() + m_options.wait;
    auto const wait = [&](milliseconds atMost) {
        auto const left = std::max(*m_waitUntil - steady_clock::now(), steady_clock::duration(0));
        return services.reach({target.service, target.version, target.instance},
                              std::min(atMost, std::chrono::ceil<milliseconds>(left)), stop());
    };
    Reached reached = wait(PATIENCE_OF_PEOPLE);
    if (!reached.port && steady_clock::now() < *m_waitUntil && !stop().stop_requested()) {
        progress(target.id + ": waiting for the service to be offered");
        reached = wait(m_options.wait);
        clearProgress();
    }
    return reached;
}

std::vector<std::string> Session::rivals(Target const& target) {
    return services().rivals({target.service, target.version, target.instance});
}

void Session::progress(std::string const& text) {
    if (!m_environment.errIsTerminal) return;
    err() << "\r\033[K" << text << std::flush;
    m_progressShown = true;
}

void Session::clearProgress() {
    if (!m_progressShown) return;
    err() << "\r\033[K" << std::flush;
    m_progressShown = false;
}

void Session::tell(std::string const& text) {
    if (!m_options.verbose) return;
    clearProgress();
    err() << "tester: " << text << std::endl;
}

}  // namespace tester
