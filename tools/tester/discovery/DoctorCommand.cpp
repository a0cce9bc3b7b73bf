// `doctor`: addresses and ports in use, what is offered, found and subscribed, what is missing and why.
#include <algorithm>
#include <cmath>

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include "tools/tester/Command.h"
#include "tools/tester/Text.h"
#include "tools/tester/discovery/Attention.h"
#include "tools/tester/discovery/Diagnosis.h"

namespace tester {

namespace {

using namespace eb::com::runtime;
using Json = nlohmann::ordered_json;
using std::chrono::steady_clock;

/// The tester's own service isn't missed when nobody plays it.
bool counts(Instance_report const& instance) {
    return !instance.service.value.starts_with("tester::");
}

bool complete(Runtime_report const& report) {
    return std::all_of(report.instances.begin(), report.instances.end(), [](Instance_report const& instance) {
        bool const heard = std::all_of(instance.events.begin(), instance.events.end(),
                                       [](auto const& event) { return event.subscription == "subscribed"; });
        return !counts(instance) || (instance.found && heard);
    });
}

class DoctorCommand final : public Command {
public:
    CLI::App* declare(CLI::App& app) override {
        CLI::App* const doctor = app.add_subcommand(
            "doctor",
            "Tell which address and port is used, what is offered, found and subscribed, and what is "
            "missing and why");
        doctor
            ->add_option_function<double>(
                "--listen", [this](double seconds) { m_listen = milliseconds(std::lround(seconds * 1000)); },
                "Listen so long for services that aren't there at once (2)")
            ->type_name("SECONDS")
            ->check(CLI::Range(0.0, 600.0));
        return doctor;
    }

    ExitCode run(Session& session) override {
        if (session.options().format == Format::raw) {
            session.err() << "tester: doctor has no raw form" << std::endl;
            return ExitCode::usage;
        }
        session.services();
        Attention const attention([](Sample const&) {});
        auto const end = steady_clock::now() + m_listen;
        Runtime_report report = eb::com::runtime::report();
        constexpr milliseconds LOOK_AROUND{50};
        while (!complete(report) && steady_clock::now() < end && !session.stop().stop_requested()) {
            session.progress("listening for services...");
            pause(LOOK_AROUND, session.stop());
            report = eb::com::runtime::report();
        }
        session.clearProgress();
        if (session.stop().stop_requested()) return ExitCode::interrupted;

        std::map<std::string, Listening> listening;
        for (auto const& instance : report.instances)
            if (instance.found && !listening.contains(instance.endpoint))
                listening[instance.endpoint] =
                    probe(parseEndpoint(instance.endpoint), session.options().patience.timeout);
        auto const findings = diagnose(report, listening);
        ExitCode const code = judge(report, findings);
        if (session.options().format == Format::json)
            showJson(session, report, findings, code);
        else
            showText(session, report, findings);
        return code;
    }

private:
    static ExitCode judge(Runtime_report const& report, std::vector<Finding> const& findings) {
        if (findings.empty()) return ExitCode::allGood;
        bool const any = std::any_of(report.instances.begin(), report.instances.end(),
                                     [](auto const& instance) { return instance.found; });
        return any ? ExitCode::someFailed : ExitCode::unreachable;
    }

    static std::string targets(Runtime_report const& report) {
        std::string text;
        for (auto const& target : report.sd_targets) text += (text.empty() ? "" : ", ") + target;
        return text;
    }

    static std::string roleText(Runtime_report const& report) {
        std::string const as = ", known there as " + report.sd_identity;
        if (report.sd_role == "speaker") return "spoken by this program" + as;
        if (report.sd_role == "member") return "spoken by another program" + as;
        return "not heard: the port is taken";
    }

    static std::string secondsText(milliseconds time) {
        return millisecondsText(double(time.count()) / 1000) + " s";
    }

    static void showText(Session& session, Runtime_report const& report,
                         std::vector<Finding> const& findings) {
        auto& out = session.out();
        Paint const paint = session.paint();
        out << paint.bold("manifest   ") << report.manifest << ", "
            << counted(report.instances.size(), "instance") << '\n';
        out << paint.bold("discovery  ") << report.discovery;
        if (!report.sd_address.empty())
            out << " at " << report.sd_address << " (" << roleText(report) << "), to " << targets(report);
        out << '\n';
        if (!report.sd_address.empty())
            out << paint.bold("messages   ") << report.sd_sent << " sent, " << report.sd_received
                << " received, " << report.sd_malformed << " malformed\n";
        for (auto const& peer : report.peers)
            out << paint.bold("peer       ") << peer.address << ", heard " << secondsText(peer.last_heard)
                << " ago, " << counted(peer.offers, "offer") << ", " << counted(peer.reboots, "restart")
                << " noticed\n";
        out << '\n';
        showInstances(session, report);
        out << '\n';
        for (auto const& finding : findings)
            out << paint.red(padRight(finding.kind, 11)) << finding.what << "\n           " << finding.remedy
                << '\n';
        if (findings.empty()) out << paint.green("all is well") << '\n';
        out << std::flush;
    }

    static void showInstances(Session& session, Runtime_report const& report) {
        Paint const paint = session.paint();
        std::size_t width = 7;
        for (auto const& instance : report.instances)
            width = std::max(width, shownName(instance.service, instance.instance).size());
        session.out() << paint.bold(padRight("id", 6) + "  " + padRight("service", width) + "  " +
                                    padRight("found at", 26) + "  " + padRight("offered by", 21) + "  events")
                      << '\n';
        for (auto const& instance : report.instances) {
            if (!counts(instance) && !instance.found) continue;
            std::string events;
            for (auto const& event : instance.events)
                events += (events.empty() ? "" : ", ") + event.name + ' ' +
                          (event.subscription.empty() ? "not subscribed" : event.subscription);
            std::string const where = padRight(instance.found ? instance.endpoint : "-", 26);
            session.out() << padRight(hexNumber(instance.service_id), 6) << "  "
                          << padRight(shownName(instance.service, instance.instance), width) << "  "
                          << (instance.found ? paint.green(where) : paint.red(where)) << "  "
                          << padRight(instance.offered_by, 21) << "  " << events << '\n';
        }
    }

    static Json instanceJson(Instance_report const& instance) {
        Json events = Json::array();
        for (auto const& event : instance.events)
            events.push_back({{"name", event.name},
                              {"id", hexNumber(event.id)},
                              {"eventgroup", event.eventgroup},
                              {"subscription", event.subscription}});
        return {{"service", instance.service.value},
                {"instance", instance.instance.value},
                {"service_id", hexNumber(instance.service_id)},
                {"instance_id", instance.instance_id},
                {"deployed", instance.deployed},
                {"found", instance.found},
                {"endpoint", instance.endpoint},
                {"offered_by", instance.offered_by},
                {"also_offered_by", instance.also_offered_by},
                {"events", events}};
    }

    static void showJson(Session& session, Runtime_report const& report, std::vector<Finding> const& findings,
                         ExitCode code) {
        Json peers = Json::array();
        for (auto const& peer : report.peers)
            peers.push_back({{"address", peer.address},
                             {"last_heard_ms", peer.last_heard.count()},
                             {"offers", peer.offers},
                             {"reboots", peer.reboots}});
        Json instances = Json::array();
        for (auto const& instance : report.instances) instances.push_back(instanceJson(instance));
        Json missing = Json::array();
        for (auto const& finding : findings)
            missing.push_back({{"kind", finding.kind}, {"what", finding.what}, {"remedy", finding.remedy}});
        Json const document{{"command", "doctor"},
                            {"exit_code", static_cast<int>(code)},
                            {"manifest", report.manifest},
                            {"discovery",
                             {{"mode", report.discovery},
                              {"address", report.sd_address},
                              {"identity", report.sd_identity},
                              {"role", report.sd_role},
                              {"targets", report.sd_targets},
                              {"sent", report.sd_sent},
                              {"received", report.sd_received},
                              {"malformed", report.sd_malformed}}},
                            {"peers", peers},
                            {"instances", instances},
                            {"missing", missing}};
        session.out() << document.dump(2, ' ', false, Json::error_handler_t::replace) << std::endl;
    }

    milliseconds m_listen{2000};
};

}  // namespace

std::unique_ptr<Command> doctorCommand() {
    return std::make_unique<DoctorCommand>();
}

}  // namespace tester
