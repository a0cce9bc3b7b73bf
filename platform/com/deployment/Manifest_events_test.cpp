// Events in the manifest, and the built-in rows of the services beside the data identifiers.
#include <gtest/gtest.h>

#include <map>
#include <string>

#include <ac/com/Exceptions.h>

#include "platform/com/deployment/Manifest.h"

namespace eb::com::runtime {
namespace {

class Manifest_rows_test : public ::testing::Test {
protected:
    Service_deployment const* find(std::string const& interface, std::string const& instance = "1") const {
        return m_deployment.find({interface}, {instance});
    }
    /// The methods in the order of their names, with ids from 1.
    static void expectMethods(Service_deployment const& service, std::vector<std::string> const& names) {
        ASSERT_EQ(service.methods.size(), names.size());
        for (std::size_t index = 0; index < names.size(); ++index) {
            EXPECT_EQ(service.methods[index].name, names[index]);
            EXPECT_EQ(service.methods[index].id, index + 1);
        }
    }
    static void expectEvent(Service_deployment const& service, std::string const& name, bool field) {
        ASSERT_EQ(service.events.size(), 1U);
        EXPECT_EQ(service.events[0].name, name);
        EXPECT_EQ(service.events[0].id, 0x8001);
        EXPECT_EQ(service.events[0].eventgroup, 1);
        EXPECT_EQ(service.events[0].field, field);
    }

    Deployment const m_deployment = parseManifest(DEFAULT_MANIFEST, "built-in manifest");
};

TEST_F(Manifest_rows_test, FourRoutines) {
    std::map<std::string, std::uint16_t> const expected = {
        {"r_0687::RoutineService_RebuildParameters", std::uint16_t{0x0687}},
        {"r_0688::RoutineService_InitializeParameters", std::uint16_t{0x0688}},
        {"r_0689::RoutineService_TransferParametersFromATN", std::uint16_t{0x0689}},
        {"r_068a::RoutineService_StoreParametersInATN", std::uint16_t{0x068A}},
    };
    for (auto const& [name, id] : expected) {
        SCOPED_TRACE(name);
        Service_deployment const* const service = find("zvg::services::diag::" + name);
        ASSERT_NE(service, nullptr);
        EXPECT_EQ(service->serviceId, id);
        EXPECT_EQ(service->instanceId, 1);
        EXPECT_EQ(service->version.major(), 2);
        EXPECT_EQ(service->version.minor(), 0U);
        EXPECT_EQ(service->endpoint.text(), "tcp 127.0.0.1:30509");
        expectMethods(*service, {"Cancel", "RequestResults", "Start", "Stop"});
        EXPECT_TRUE(service->events.empty());
    }
}

TEST_F(Manifest_rows_test, ThreeMonitorsWithTheInvisibleMarksAroundTheirNumbers) {
    for (std::uint16_t number = 1; number <= 3; ++number) {
        SCOPED_TRACE(number);
        Service_deployment const* const service =
            find("ac::dm::dem::DiagnosticMonitor",
                 "\xE2\x80\xAD" + std::to_string(8'495'839 + number) + "\xE2\x80\xAC");
        ASSERT_NE(service, nullptr);
        EXPECT_EQ(service->serviceId, 0x0D7C);
        EXPECT_EQ(service->instanceId, number);
        EXPECT_EQ(service->version.major(), 2);
        EXPECT_EQ(service->version.minor(), 0U);
        EXPECT_EQ(service->endpoint.text(), "tcp 127.0.0.1:" + std::to_string(30'510 + number));
        expectMethods(*service, {"InitMonitor"});
        expectEvent(*service, "MonitorAction", false);
    }
}

TEST_F(Manifest_rows_test, DataDistributionWithItsField) {
    Service_deployment const* const service =
        find("zvg::services::diagnosticdatadistribution::DiagnosticDataDistribution");
    ASSERT_NE(service, nullptr);
    EXPECT_EQ(service->serviceId, 0x0DDD);
    EXPECT_EQ(service->instanceId, 1);
    EXPECT_EQ(service->version.major(), 3);
    EXPECT_EQ(service->version.minor(), 1U);
    EXPECT_EQ(service->endpoint.text(), "tcp 127.0.0.1:30510");
    expectMethods(*service, {"dataValuesHash::Get", "getDiagnosticData", "getDiagnosticDataValues"});
    expectEvent(*service, "dataValuesHash::Notify", true);
}

TEST_F(Manifest_rows_test, AddressOfTheProcessReplacesEveryAddressAndNoPort) {
    Deployment const moved = parseManifest(DEFAULT_MANIFEST, "built-in manifest", "127.9.8.7");
    ASSERT_EQ(moved.services.size(), m_deployment.services.size());
    for (std::size_t row = 0; row < moved.services.size(); ++row) {
        Endpoint expected = m_deployment.services[row].endpoint;
        expected.address.ip = 0x7F090807U;
        EXPECT_EQ(moved.services[row].endpoint, expected) << moved.services[row].interface.value;
    }
}

std::string withEvents(std::string const& events) {
    return R"({"services": [{"interface": "a::B", "instance": "1", "service_id": 1, "instance_id": 1,
        "version": {"major": 2, "minor": 0}, "methods": [{"name": "Read", "id": 2}], )" +
           events + R"("endpoint": {"transport": "udp", "address": "127.0.0.2", "port": 30510}}]})";
}

TEST(Manifest_events_test, EventsCountInTheOrderOfTheirNamesAndAreFieldsIfTheySaySo) {
    auto const deployment =
        parseManifest(withEvents(R"("events": [{"name": "Tick", "id": "0x8002", "eventgroup": 7},
            {"name": "Field", "id": 65534, "eventgroup": 65534, "field": true},
            {"name": "Plain", "id": 32768, "eventgroup": 7, "field": false}],)"),
                      "car.json");
    std::vector<Event_deployment> const& events = deployment.services.at(0).events;
    ASSERT_EQ(events.size(), 3U);
    EXPECT_EQ(events[0].name, "Field");
    EXPECT_EQ(events[0].id, 0xFFFE);
    EXPECT_EQ(events[0].eventgroup, 0xFFFE);
    EXPECT_TRUE(events[0].field);
    EXPECT_EQ(events[1].name, "Plain");
    EXPECT_EQ(events[1].id, 0x8000);
    EXPECT_FALSE(events[1].field);
    EXPECT_EQ(events[2].name, "Tick");
    EXPECT_EQ(events[2].id, 0x8002);
    EXPECT_FALSE(events[2].field);
    EXPECT_TRUE(parseManifest(withEvents(""), "car.json").services.at(0).events.empty());
}

TEST(Manifest_events_test, EventThatCannotBeIsNamed) {
    struct {
        char const* events;
        char const* complaint;
    } const rows[] = {
        {"[]", " = []: has to be a list with at least one element"},
        {"{}", " = {}: has to be a list with at least one element"},
        {"[1]", "[0] = 1: has to be an object"},
        {R"([{"id": 32769, "eventgroup": 1}])", "[0].name: is missing"},
        {R"([{"name": "", "id": 32769, "eventgroup": 1}])", "[0].name = \"\": has to be a text"},
        {R"([{"name": "A", "eventgroup": 1}])", "[0].id: is missing"},
        {R"([{"name": "A", "id": 32769}])", "[0].eventgroup: is missing"},
        {R"([{"name": "A", "id": 32769, "eventgroup": 1, "fields": true}])",
         "[0].fields = true: no such key"},
        {R"([{"name": "A", "id": "0x7FFF", "eventgroup": 1}])",
         "[0].id = \"0x7FFF\": has to be a number from 32768 to 65534"},
        {R"([{"name": "A", "id": "0xFFFF", "eventgroup": 1}])",
         "[0].id = \"0xFFFF\": has to be a number from 32768 to 65534"},
        {R"([{"name": "A", "id": 32769, "eventgroup": 0}])",
         "[0].eventgroup = 0: has to be a number from 1 to 65534"},
        {R"([{"name": "A", "id": 32769, "eventgroup": 65535}])",
         "[0].eventgroup = 65535: has to be a number from 1 to 65534"},
        {R"([{"name": "A", "id": 32769, "eventgroup": 1, "field": 1}])",
         "[0].field = 1: has to be true or false"},
        {R"([{"name": "A", "id": 32769, "eventgroup": 1}, {"name": "A", "id": 32770, "eventgroup": 1}])",
         "[1].name = \"A\": stands twice"},
        {R"([{"name": "A", "id": 32769, "eventgroup": 1}, {"name": "B", "id": "0x8001", "eventgroup": 2}])",
         "[1].id = \"0x8001\": stands twice"},
    };
    for (auto const& row : rows) {
        SCOPED_TRACE(row.events);
        try {
            parseManifest(withEvents("\"events\": " + std::string(row.events) + ","), "car.json");
            ADD_FAILURE() << "no complaint";
        } catch (ac::com::Invalid_argument_exception const& exception) {
            EXPECT_EQ(std::string(exception.what()),
                      std::string("car.json: services[0].events") + row.complaint);
        }
    }
}

}  // namespace
}  // namespace eb::com::runtime
