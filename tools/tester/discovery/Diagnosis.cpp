#include "tools/tester/discovery/Diagnosis.h"

#include <algorithm>

#include "tools/tester/discovery/Attention.h"

namespace tester {

using namespace eb::com::runtime;

namespace {

/// The tester's own service, which is there only while `data-service` runs.
bool isTesters(Instance_report const& instance) {
    return instance.service.value.starts_with("tester::");
}

std::string remedyFor(Instance_report const& instance) {
    if (instance.service.value.ends_with("::DiagnosticDataDistribution"))
        return "`tester data-service --values FILE` plays it";
    return "the VAL service offers it once `register` has returned 0";
}

std::string list(std::vector<std::string> const& names) {
    constexpr std::size_t SHOWN = 4;
    std::string text;
    for (std::size_t at = 0; at < std::min(names.size(), SHOWN); ++at)
        text += (at == 0 ? "" : ", ") + names[at];
    return names.size() > SHOWN ? text + " and " + std::to_string(names.size() - SHOWN) + " more" : text;
}

void findNobody(Runtime_report const& report, std::vector<Finding>& findings) {
    if (report.discovery == "static" || !report.peers.empty()) return;
    if (report.sd_role == "joining") {
        findings.push_back({"discovery has no voice: another program holds " + report.sd_address,
                            "end that program (`ss -lnp` names it), or give all processes another "
                            "discovery.ports.first"});
        return;
    }
    if (std::any_of(report.instances.begin(), report.instances.end(),
                    [](Instance_report const& instance) { return instance.offered; }))
        return;
    findings.push_back({"no other process was heard by discovery at " + report.sd_address,
                        "start the vehicle, with the same ARA_COM_ADDRESS and manifest as this program"});
}

void findMissing(Runtime_report const& report, std::vector<Finding>& findings) {
    std::map<std::string, std::vector<std::string>> missing;  // by remedy
    for (auto const& instance : report.instances)
        if (!instance.found && !isTesters(instance))
            missing[remedyFor(instance)].push_back(shownName(instance.service, instance.instance));
    for (auto const& [remedy, names] : missing) findings.push_back({"nobody offers " + list(names), remedy});
}

void findUnheard(Runtime_report const& report, std::vector<Finding>& findings) {
    for (auto const& instance : report.instances)
        for (auto const& event : instance.events) {
            if (!instance.found || event.subscription.empty() || event.subscription == "subscribed") continue;
            findings.push_back({shownName(instance.service, instance.instance) + ": the subscription to " +
                                    event.name + " is " + event.subscription,
                                event.subscription == "refused"
                                    ? "compare the eventgroup's id (" + std::to_string(event.eventgroup) +
                                          ") in the manifests of both sides"
                                    : "its process may be busy or gone; try again, or look at its log"});
        }
}

void findRivals(Runtime_report const& report, std::vector<Finding>& findings) {
    std::map<std::string, std::vector<std::string>> doubled;  // by who offers them
    for (auto const& instance : report.instances)
        for (auto const& rival : instance.also_offered_by)
            doubled[instance.offered_by + " (" + instance.endpoint + "), which is used, and by " + rival]
                .push_back(shownName(instance.service, instance.instance));
    for (auto const& [who, names] : doubled)
        findings.push_back({list(names) + (names.size() == 1 ? " is" : " are") + " offered by " + who,
                            "end one of the two, or give them instance ids of their own", "doubled"});
}

void findDeaf(Runtime_report const& report, std::map<std::string, Listening> const& listening,
              std::vector<Finding>& findings) {
    for (auto const& [endpoint, state] : listening) {
        if (state != Listening::no) continue;
        std::vector<std::string> names;
        for (auto const& instance : report.instances)
            if (instance.endpoint == endpoint)
                names.push_back(shownName(instance.service, instance.instance));
        findings.push_back({"nobody listens at " + endpoint + ", where " + list(names) + " is offered",
                            "its process was killed or hangs; its offer will run out by itself"});
    }
}

}  // namespace

std::vector<Finding> diagnose(Runtime_report const& report,
                              std::map<std::string, Listening> const& listening) {
    std::vector<Finding> findings;
    findNobody(report, findings);
    findMissing(report, findings);
    findRivals(report, findings);
    findDeaf(report, listening, findings);
    findUnheard(report, findings);
    if (report.sd_malformed != 0)
        findings.push_back({std::to_string(report.sd_malformed) + " discovery messages couldn't be read",
                            "somebody else sends to " + report.sd_address +
                                "; capture it: tshark -i lo -f 'udp port 30490'"});
    return findings;
}

}  // namespace tester
