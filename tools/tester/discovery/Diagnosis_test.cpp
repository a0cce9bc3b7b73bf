#include "tools/tester/discovery/Diagnosis.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tools/tester/discovery/Attention.h"

namespace tester {
namespace {

using testing::HasSubstr;
using testing::StartsWith;
using namespace eb::com::runtime;

Instance_report instance(std::string service, bool found) {
    Instance_report report;
    report.service.value = std::move(service);
    report.instance.value = "1";
    report.found = found;
    if (found) report.endpoint = "tcp 127.0.0.1:30509";
    return report;
}

/// A vehicle as it should be: two services of one peer, one with an event.
Runtime_report wellReport() {
    Runtime_report report;
    report.discovery = "unicast";
    report.sd_address = "127.0.0.1:30490";
    report.peers.push_back({"127.0.0.1:30491", {}, 0, 2});
    report.instances = {instance("a::Plain", true), instance("a::Eventful", true)};
    report.instances[1].events.push_back({"Changed", 0x8001, 7, 0, "subscribed"});
    return report;
}

std::map<std::string, Listening> everybodyListens() {
    return {{"tcp 127.0.0.1:30509", Listening::yes}};
}

TEST(DiagnosisTest, FindsNothingWhereAllIsWell) {
    EXPECT_TRUE(diagnose(wellReport(), everybodyListens()).empty());
}

TEST(DiagnosisTest, TellsThatNobodyElseWasHeard) {
    Runtime_report report = wellReport();
    report.peers.clear();
    auto const findings = diagnose(report, everybodyListens());
    ASSERT_EQ(findings.size(), 1U);
    EXPECT_EQ(findings[0].what, "no other process was heard by discovery at 127.0.0.1:30490");
    EXPECT_THAT(findings[0].remedy, HasSubstr("ARA_COM_ADDRESS"));

    report.instances[0].offered = true;
    EXPECT_TRUE(diagnose(report, everybodyListens()).empty()) << "a process that offers itself needs nobody";
    report.instances[0].offered = false;
    report.discovery = "static";
    EXPECT_TRUE(diagnose(report, everybodyListens()).empty()) << "nobody is heard without discovery";
}

TEST(DiagnosisTest, NamesBothVehiclesThatOfferTheSame) {
    Runtime_report report = wellReport();
    for (auto& instance : report.instances) {
        instance.offered_by = "127.0.0.1:30490";
        instance.also_offered_by = {"127.0.0.2:30490 (tcp 127.0.0.2:30509)"};
    }
    auto const findings = diagnose(report, everybodyListens());
    ASSERT_EQ(findings.size(), 1U);
    EXPECT_EQ(findings[0].kind, "doubled");
    EXPECT_EQ(findings[0].what,
              shownName(report.instances[0].service, report.instances[0].instance) + ", " +
                  shownName(report.instances[1].service, report.instances[1].instance) +
                  " are offered by 127.0.0.1:30490 (tcp 127.0.0.1:30509), which is used, and by "
                  "127.0.0.2:30490 (tcp 127.0.0.2:30509)");
}

TEST(DiagnosisTest, NamesThePortThatAnotherProgramHolds) {
    Runtime_report report = wellReport();
    report.peers.clear();
    report.sd_role = "joining";
    auto const findings = diagnose(report, everybodyListens());
    ASSERT_EQ(findings.size(), 1U);
    EXPECT_EQ(findings[0].what, "discovery has no voice: another program holds 127.0.0.1:30490");
    EXPECT_THAT(findings[0].remedy, HasSubstr("discovery.ports.first"));
}

TEST(DiagnosisTest, NamesMissingServicesByWhatMayHelp) {
    Runtime_report report = wellReport();
    report.instances.push_back(
        instance("zvg::services::diagnosticdatadistribution::DiagnosticDataDistribution", false));
    for (char const* const name : {"a::B", "a::C", "a::D", "a::E", "a::F"})
        report.instances.push_back(instance(name, false));
    report.instances.push_back(instance("tester::DataServiceControl", false));
    auto const findings = diagnose(report, everybodyListens());
    ASSERT_EQ(findings.size(), 2U);
    EXPECT_EQ(findings[0].what, "nobody offers DiagnosticDataDistribution");
    EXPECT_THAT(findings[0].remedy, HasSubstr("tester data-service"));
    EXPECT_EQ(findings[1].what, "nobody offers B, C, D, E and 1 more");
    EXPECT_THAT(findings[1].remedy, HasSubstr("register"));
}

TEST(DiagnosisTest, TellsOfOffersWhereNobodyListens) {
    auto const findings = diagnose(wellReport(), {{"tcp 127.0.0.1:30509", Listening::no}});
    ASSERT_EQ(findings.size(), 1U);
    EXPECT_EQ(findings[0].what, "nobody listens at tcp 127.0.0.1:30509, where Plain, Eventful is offered");
    EXPECT_TRUE(diagnose(wellReport(), {{"tcp 127.0.0.1:30509", Listening::unknown}}).empty());
}

TEST(DiagnosisTest, TellsOfSubscriptionsThatDontStand) {
    Runtime_report report = wellReport();
    report.instances[1].events[0].subscription = "refused";
    auto findings = diagnose(report, everybodyListens());
    ASSERT_EQ(findings.size(), 1U);
    EXPECT_EQ(findings[0].what, "Eventful: the subscription to Changed is refused");
    EXPECT_THAT(findings[0].remedy, HasSubstr("eventgroup's id (7)"));
    report.instances[1].events[0].subscription = "pending";
    findings = diagnose(report, everybodyListens());
    ASSERT_EQ(findings.size(), 1U);
    EXPECT_THAT(findings[0].what, HasSubstr("is pending"));
    report.instances[1].found = false;
    findings = diagnose(report, everybodyListens());
    ASSERT_EQ(findings.size(), 1U);
    EXPECT_THAT(findings[0].what, StartsWith("nobody offers Eventful"));
}

TEST(DiagnosisTest, TellsOfMessagesThatCouldntBeRead) {
    Runtime_report report = wellReport();
    report.sd_malformed = 3;
    auto const findings = diagnose(report, everybodyListens());
    ASSERT_EQ(findings.size(), 1U);
    EXPECT_THAT(findings[0].what, StartsWith("3 discovery messages"));
}

TEST(ShownNameTest, LeavesOutInvisibleMarksAndTheInstanceThatAllHave) {
    EXPECT_EQ(shownName({"ac::dm::dem::DiagnosticMonitor"}, {"\u202D8495840\u202C"}),
              "DiagnosticMonitor 8495840");
    EXPECT_EQ(shownName({"Plain"}, {"1"}), "Plain");
    EXPECT_EQ(shownName({"a::B"}, {"\xE2\x80"}), "B \xE2\x80") << "half a mark stays as it is";
}

}  // namespace
}  // namespace tester
