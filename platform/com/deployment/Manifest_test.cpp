#include "platform/com/deployment/Manifest.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <map>

#include <ac/com/Exceptions.h>

namespace eb::com::runtime {
namespace {

char const* const GOOD = R"({"services": [{
    "interface": "a::B", "instance": "1", "service_id": "0x1001", "instance_id": 1,
    "version": {"major": 2, "minor": 0},
    "methods": [{"name": "Read", "id": 2}, {"name": "Cancel", "id": "0x0001"}],
    "endpoint": {"transport": "udp", "address": "127.0.0.2", "port": 30510}}]})";

std::string with(std::string const& from, std::string const& to) {
    std::string text = GOOD;
    std::size_t const at = text.find(from);
    EXPECT_NE(at, std::string::npos) << from;
    return text.replace(at, from.size(), to);
}

std::string complaintAbout(std::string const& text) {
    try {
        parseManifest(text, "car.json");
        return "no complaint";
    } catch (ac::com::Invalid_argument_exception const& exception) {
        return exception.what();
    }
}

TEST(Manifest_test, DefaultNamesTheFourteenDataIdentifiers) {
    Deployment const deployment = parseManifest(DEFAULT_MANIFEST, "built-in manifest");

    std::map<std::uint16_t, std::string> const expected = {
        {0xB047, "d_b047::DataIdentifier_AuthenticTimeLastClientPackage"},
        {0x15FE, "d_15fe::DataIdentifier_AuthenticTimeLastFailedBackendRequest"},
        {0x15FD, "d_15fd::DataIdentifier_AuthenticTimeLastValidBackendRequest"},
        {0x017D, "d_017d::DataIdentifier_FunctionOnDemandVersionInfo"},
        {0x488C, "d_488c::DataIdentifier_FunctionOnDemandProductList"},
        {0x488B, "d_488b::DataIdentifier_FunctionOnDemandProductToFsidAssociation"},
        {0x117C, "d_117c::DataIdentifier_FoDSomeipDataBusServiceNotAvailable"},
        {0x117E, "d_117e::DataIdentifier_FoDSomeipDataBusServiceImplausible"},
        {0x117D, "d_117d::DataIdentifier_FoDSomeipDataBusServiceErrorValueReceived"},
        {0x0235, "d_0235::DataIdentifier_FoDManagerExtendedState1"},
        {0x0234, "d_0234::DataIdentifier_FoDManagerExtendedState2"},
        {0x54DC, "d_54dc::DataIdentifier_HistoryMemorySynchronization"},
        {0x54DE, "d_54de::DataIdentifier_MetadataShadowCopy"},
        {0x54DF, "d_54df::DataIdentifier_ParameterList"},
    };
    std::size_t identifiers = 0;
    for (Service_deployment const& service : deployment.services) {
        if (!expected.contains(service.serviceId)) continue;
        ++identifiers;
        EXPECT_EQ(service.interface.value, "zvg::services::diag::" + expected.at(service.serviceId));
        EXPECT_EQ(service.instance.value, "1");
        EXPECT_EQ(service.instanceId, 1);
        EXPECT_EQ(service.version.major(), 2);
        EXPECT_EQ(service.version.minor(), 0U);
        EXPECT_EQ(service.endpoint.text(), "tcp 127.0.0.1:30509");
        ASSERT_EQ(service.methods.size(), 2U);
        EXPECT_EQ(service.methods[0].name, "Cancel");
        EXPECT_EQ(service.methods[0].id, 1);
        EXPECT_EQ(service.methods[1].name, "Read");
        EXPECT_EQ(service.methods[1].id, 2);
    }
    EXPECT_EQ(identifiers, expected.size());
}

TEST(Manifest_test, MethodsCountInTheOrderOfTheirNames) {
    Deployment const deployment = parseManifest(GOOD, "car.json");

    ASSERT_EQ(deployment.services.size(), 1U);
    EXPECT_EQ(deployment.services[0].methods[0].name, "Cancel");
    EXPECT_EQ(deployment.services[0].methods[1].name, "Read");
    EXPECT_EQ(deployment.services[0].endpoint.text(), "udp 127.0.0.2:30510");
}

TEST(Manifest_test, LimitsHaveDefaultsAndAreTaken) {
    Limits const plain = parseManifest(GOOD, "car.json").limits;
    EXPECT_EQ(plain.messageBytes, 1U << 20U);
    EXPECT_EQ(plain.outstandingCalls, 256U);
    EXPECT_EQ(plain.queuedCalls, 1024U);
    EXPECT_EQ(plain.queuedBytes, 8U << 20U);
    EXPECT_EQ(plain.messageLimit, std::chrono::seconds(10));
    EXPECT_EQ(plain.callLimit, std::chrono::seconds(90));

    Limits const set = parseManifest(with("{\"services\"",
                                          R"({"limits": {"message_bytes": 1000, "send_queue_bytes": 2000,
        "outstanding_calls": 3, "connections": 4, "call_limit_ms": 5, "connect_limit_ms": 6,
        "queued_calls": 7, "queued_bytes": 8, "message_limit_ms": 9}, "services")"),
                                     "car.json")
                           .limits;
    EXPECT_EQ(set.messageBytes, 1000U);
    EXPECT_EQ(set.sendQueueBytes, 2000U);
    EXPECT_EQ(set.outstandingCalls, 3U);
    EXPECT_EQ(set.connections, 4U);
    EXPECT_EQ(set.callLimit.count(), 5);
    EXPECT_EQ(set.connectLimit.count(), 6);
    EXPECT_EQ(set.queuedCalls, 7U);
    EXPECT_EQ(set.queuedBytes, 8U);
    EXPECT_EQ(set.messageLimit.count(), 9);
}

TEST(Manifest_test, AddressOfTheProcessReplacesEveryEndpoints) {
    Deployment const deployment = parseManifest(DEFAULT_MANIFEST, "built-in manifest", "127.9.8.7");
    for (Service_deployment const& service : deployment.services)
        EXPECT_EQ(service.endpoint.text().rfind("tcp 127.9.8.7:305", 0), 0U) << service.endpoint.text();
}

std::string withDiscovery(std::string const& discovery) {
    return with("{\"services\"", R"({"discovery": )" + discovery + R"(, "services")");
}

Discovery discoveryOf(std::string const& text) {
    return parseManifest(withDiscovery(text), "car.json").discovery;
}

TEST(Manifest_test, DiscoveryNeedsNoSettings) {
    for (std::string const& text : {std::string(GOOD), withDiscovery("{}")}) {
        Discovery const discovery = parseManifest(text, "car.json").discovery;
        EXPECT_EQ(discovery.mode, Discovery::Mode::unicast);
        EXPECT_EQ(discovery.ports.text(), "127.0.0.2:30490-30505") << "at the services' address";
        EXPECT_TRUE(discovery.peers.empty());
        EXPECT_LT(discovery.cyclic * 5, discovery.ttl) << "loss has to be survived";
        EXPECT_LE(discovery.initialDelay.most, std::chrono::milliseconds(10));
    }
    EXPECT_EQ(parseManifest(GOOD, "car.json", "127.9.8.7").discovery.ports.ip, 0x7F090807U);
}

TEST(Manifest_test, DiscoveryIsReadWhole) {
    Discovery const discovery = discoveryOf(R"({"mode": "multicast", "address": "127.0.0.9",
        "ports": {"first": 4000, "count": 3}, "peers": ["10.0.0.1", "10.0.0.2:65535"],
        "multicast": {"group": "239.1.2.3", "port": 5000, "interface": "10.0.0.9"}, "ttl_s": 16777215,
        "initial_delay_ms": {"min": 1, "max": 2}, "repetition_base_ms": 3, "repetitions": 4, "cyclic_ms": 10,
        "request_response_delay_ms": {"min": 5, "max": 5}})");
    using std::chrono::milliseconds;
    EXPECT_EQ(discovery.mode, Discovery::Mode::multicast);
    EXPECT_EQ(discovery.ports.text(), "127.0.0.9:4000-4002");
    ASSERT_EQ(discovery.peers.size(), 2U);
    EXPECT_EQ(discovery.peers[0].text(), "10.0.0.1:4000");
    EXPECT_EQ(discovery.peers[1].text(), "10.0.0.2:65535");
    EXPECT_EQ(discovery.group.text(), "239.1.2.3:5000");
    EXPECT_EQ(discovery.interface, 0x0A000009U);
    EXPECT_EQ(discovery.ttl, Discovery::FOR_EVER);
    EXPECT_EQ(discovery.initialDelay.least, milliseconds(1));
    EXPECT_EQ(discovery.initialDelay.most, milliseconds(2));
    EXPECT_EQ(discovery.repetitionBase, milliseconds(3));
    EXPECT_EQ(discovery.repetitions, 4U);
    EXPECT_EQ(discovery.cyclic, milliseconds(10));
    EXPECT_EQ(discovery.requestResponseDelay.most, milliseconds(5));
}

TEST(Manifest_test, DiscoverysOwnAddressCountsMoreThanThatOfTheProcess) {
    std::string const text = withDiscovery(R"({"mode": "static", "address": "127.0.0.9"})");
    Discovery const discovery = parseManifest(text, "car.json", "127.9.8.7").discovery;
    EXPECT_EQ(discovery.mode, Discovery::Mode::fixed);
    EXPECT_EQ(discovery.ports.ip, 0x7F000009U);
    EXPECT_EQ(discovery.interface, 0x7F000009U);
}

TEST(Manifest_test, BadDiscoveryIsNamed) {
    struct {
        char const* text;
        char const* complaint;
    } const rows[] = {
        {"1", " = 1: has to be an object"},
        {R"({"modus": 1})", ".modus = 1: no such key"},
        {R"({"mode": "broadcast"})", R"(.mode = "broadcast": has to be "unicast", "multicast" or "static")"},
        {R"({"address": "0.0.0.0"})", R"(.address = "0.0.0.0": has to be an IPv4 address)"},
        {R"({"address": "224.0.0.1"})", R"(.address = "224.0.0.1": has to be an IPv4 address)"},
        {R"({"ports": {"first": 0}})", ".ports.first = 0: has to be a number from 1 to 65535"},
        {R"({"ports": {"count": 0}})", ".ports.count = 0: has to be a number from 1 to 256"},
        {R"({"ports": {"count": 257}})", ".ports.count = 257: has to be a number from 1 to 256"},
        {R"({"ports": {"last": 1}})", ".ports.last = 1: no such key"},
        {R"({"ports": {"first": 65530, "count": 7}})",
         R"(.ports = {"count":7,"first":65530}: goes beyond port 65535)"},
        {R"({"peers": []})", ".peers = []: has to be a list with at least one element"},
        {R"({"peers": ["car"]})", R"(.peers[0] = "car": has to be an IPv4 address, or one with a port)"},
        {R"({"peers": ["10.0.0.1:"]})", R"(.peers[0] = "10.0.0.1:": has to be)"},
        {R"({"peers": ["10.0.0.1:0"]})", R"(.peers[0] = "10.0.0.1:0": has to be)"},
        {R"({"peers": ["10.0.0.1:65536"]})", R"(.peers[0] = "10.0.0.1:65536": has to be)"},
        {R"({"peers": ["10.0.0.1:99999999999"]})", R"(.peers[0] = "10.0.0.1:99999999999": has to be)"},
        {R"({"peers": ["10.0.0.1:1x"]})", R"(.peers[0] = "10.0.0.1:1x": has to be)"},
        {R"({"peers": ["255.255.255.255:1"]})", R"(.peers[0] = "255.255.255.255:1": has to be)"},
        {R"({"multicast": {"group": "10.0.0.1"}})",
         R"(.multicast.group = "10.0.0.1": has to be an IPv4 multicast address)"},
        {R"({"multicast": {"group": "240.0.0.1"}})", ".multicast.group"},
        {R"({"multicast": {"port": 0}})", ".multicast.port = 0: has to be"},
        {R"({"multicast": {"interface": "lo"}})", R"(.multicast.interface = "lo": has to be)"},
        {R"({"ttl_s": 0})", ".ttl_s = 0: has to be a number from 1 to 16777215"},
        {R"({"ttl_s": 16777216})", ".ttl_s = 16777216: has to be"},
        {R"({"initial_delay_ms": 5})", ".initial_delay_ms = 5: has to be an object"},
        {R"({"initial_delay_ms": {"min": 5}})", ".initial_delay_ms.max: is missing"},
        {R"({"initial_delay_ms": {"min": 5, "max": 4}})",
         R"(.initial_delay_ms = {"max":4,"min":5}: max can't be smaller than min)"},
        {R"({"repetition_base_ms": 0})", ".repetition_base_ms = 0: has to be"},
        {R"({"repetitions": 11})", ".repetitions = 11: has to be a number from 0 to 10"},
        {R"({"cyclic_ms": 9})", ".cyclic_ms = 9: has to be a number from 10 to 3600000"},
        {R"({"ttl_s": 2, "cyclic_ms": 2000})",
         R"( = {"cyclic_ms":2000,"ttl_s":2}: cyclic_ms has to be shorter than ttl_s)"},
        {R"({"request_response_delay_ms": {"min": 0, "max": 60001}})",
         ".request_response_delay_ms.max = 60001: has to be"},
    };
    for (auto const& row : rows) {
        SCOPED_TRACE(row.text);
        std::string const complaint = complaintAbout(withDiscovery(row.text));
        EXPECT_EQ(complaint.rfind(std::string("car.json: discovery") + row.complaint, 0), 0U) << complaint;
    }
}

TEST(Manifest_test, UnknownInstanceIsNotFound) {
    Deployment const deployment = parseManifest(GOOD, "car.json");
    EXPECT_NE(deployment.find({"a::B"}, {"1"}), nullptr);
    EXPECT_EQ(deployment.find({"a::B"}, {"2"}), nullptr);
    EXPECT_EQ(deployment.find({"a::C"}, {"1"}), nullptr);
}

struct Bad {
    char const* name;
    std::string text;
    char const* complaint;
};

class Manifest_bad_test : public ::testing::TestWithParam<Bad> {};

TEST_P(Manifest_bad_test, ComplaintNamesFileKeyAndValue) {
    EXPECT_EQ(complaintAbout(GetParam().text).rfind(std::string("car.json: ") + GetParam().complaint, 0), 0U)
        << complaintAbout(GetParam().text);
}

char const* const SECOND_ROW =
    R"(30510}}, {"interface": "a::C", "instance": "1", "service_id": 4097, "instance_id": 2,
    "version": {"major": 1, "minor": 0}, "methods": [{"name": "Read", "id": 1}],
    "endpoint": {"transport": "udp", "address": "127.0.0.2", "port": 30510}})";
char const* const SAME_NAME =
    R"(30510}}, {"interface": "a::B", "instance": "1", "service_id": 1, "instance_id": 2,
    "version": {"major": 1, "minor": 0}, "methods": [{"name": "Read", "id": 1}],
    "endpoint": {"transport": "udp", "address": "127.0.0.2", "port": 30510}})";

INSTANTIATE_TEST_SUITE_P(
    Rows, Manifest_bad_test,
    ::testing::Values(
        Bad{"NoJson", "{", "is no JSON: "},  //
        Bad{"Empty", "", "is no JSON: "},    //
        Bad{"NoObject", "[]", " = []: has to be an object"}, Bad{"NoServices", "{}", "services: is missing"},
        Bad{"ServicesNoList", R"({"services": 1})",
            "services = 1: has to be a list with at least one element"},
        Bad{"ServicesEmpty", R"({"services": []})",
            "services = []: has to be a list with at least one element"},
        Bad{"ServiceNoObject", R"({"services": [1]})", "services[0] = 1: has to be an object"},
        Bad{"DefaultsNoObject", R"({"defaults": 1, "services": [{}]})", "defaults = 1: has to be an object"},
        Bad{"UnknownKeyAtTheTop", with("{\"services\"", "{\"servises\": 1, \"services\""),
            "servises = 1: no such key"},
        Bad{"UnknownKeyOfAService", with("\"instance\"", "\"instanze\""),
            "services[0].instanze = \"1\": no such key"},
        Bad{"UnknownKeyOfAnEndpoint", with("\"port\"", "\"prot\""),
            "services[0].endpoint.prot = 30510: no such key"},
        Bad{"KeyTwice", with("\"instance\"", "\"interface\""),
            "services[0].interface: stands twice in one object"},
        Bad{"NumberBeyondEveryType", with("30510", "1e999"),
            "services[0].endpoint.port: number overflow parsing '1e999'"},
        Bad{"NumberInASecondElement", with("\"0x0001\"", "-1e999"),
            "services[0].methods[1].id: number overflow parsing '-1e999'"},
        Bad{"InterfaceMissing", with("\"interface\": \"a::B\",", ""), "services[0].interface: is missing"},
        Bad{"InterfaceEmpty", with("\"a::B\"", "\"\""), "services[0].interface = \"\": has to be a text"},
        Bad{"InterfaceANumber", with("\"a::B\"", "5"), "services[0].interface = 5: has to be a text"},
        Bad{"ServiceIdZero", with("\"0x1001\"", "0"),
            "services[0].service_id = 0: has to be a number from 1 to 65534"},
        Bad{"ServiceIdOfDiscovery", with("\"0x1001\"", "\"0xFFFF\""),
            "services[0].service_id = \"0xFFFF\": has to be a number from 1 to 65534"},
        Bad{"ServiceIdNoHex", with("\"0x1001\"", "\"0x10G1\""),
            "services[0].service_id = \"0x10G1\": has to be a number"},
        Bad{"ServiceIdNegative", with("\"0x1001\"", "-1"), "services[0].service_id = -1: has to be a number"},
        Bad{"ServiceIdBroken", with("\"0x1001\"", "1.5"), "services[0].service_id = 1.5: has to be a number"},
        Bad{"InstanceIdMissing", with("\"instance_id\": 1,", ""), "services[0].instance_id: is missing"},
        Bad{"MajorTooLarge", with("\"major\": 2", "\"major\": 255"),
            "services[0].version.major = 255: has to be a number from 0 to 254"},
        Bad{"NoMethods", with(R"([{"name": "Read", "id": 2}, {"name": "Cancel", "id": "0x0001"}])", "[]"),
            "services[0].methods = []: has to be a list"},
        Bad{"MethodIdOfAnEvent", with("\"id\": 2", "\"id\": 32768"),
            "services[0].methods[0].id = 32768: has to be a number from 1 to 32767"},
        Bad{"MethodIdTwice", with("\"id\": 2", "\"id\": 1"),
            "services[0].methods[1].id = \"0x0001\": stands twice"},
        Bad{"MethodNameTwice", with("\"Read\"", "\"Cancel\""),
            "services[0].methods[1].name = \"Cancel\": stands twice"},
        Bad{"Transport", with("\"udp\"", "\"can\""),
            "services[0].endpoint.transport = \"can\": has to be \"tcp\" or"},
        Bad{"AddressAName", with("127.0.0.2", "localhost"),
            "services[0].endpoint.address = \"localhost\": has to be an IPv4 address"},
        Bad{"AddressShort", with("127.0.0.2", "127.0.0"),
            "services[0].endpoint.address = \"127.0.0\": has to be"},
        Bad{"AddressLong", with("127.0.0.2", "127.0.0.2.1"),
            "services[0].endpoint.address = \"127.0.0.2.1\": has"},
        Bad{"AddressPartTooLarge", with("127.0.0.2", "127.0.0.256"),
            "services[0].endpoint.address = \"127.0.0.256\""},
        Bad{"AddressOfEverybody", with("127.0.0.2", "0.0.0.0"),
            "services[0].endpoint.address = \"0.0.0.0\": has"},
        Bad{"AddressMulticast", with("127.0.0.2", "224.0.0.1"),
            "services[0].endpoint.address = \"224.0.0.1\": has"},
        Bad{"PortZero", with("30510", "0"),
            "services[0].endpoint.port = 0: has to be a number from 1 to 65535"},
        Bad{"PortTooLarge", with("30510", "65536"), "services[0].endpoint.port = 65536: has to be a number"},
        Bad{"SameServiceAtOneEndpoint", with("30510}}", SECOND_ROW),
            "services[1].service_id = 4097: has the same endpoint as services[0]"},
        Bad{"SameInstanceTwice", with("30510}}", SAME_NAME),
            "services[1].interface = \"a::B\": has the same instance as services[0]"},
        Bad{"LimitZero", with("{\"services\"", R"({"limits": {"connections": 0}, "services")"),
            "limits.connections = 0: has to be a number from 1 to 65535"},
        Bad{"LimitUnknown", with("{\"services\"", R"({"limits": {"speed": 1}, "services")"),
            "limits.speed = 1: no such key"},
        Bad{"LimitsContradict", with("{\"services\"", R"({"limits": {"send_queue_bytes": 5}, "services")"),
            "limits = {\"send_queue_bytes\":5}: send_queue_bytes can't be smaller than message_bytes"}),
    [](auto const& row) { return row.param.name; });

TEST(Manifest_test, NoValueOfAnyKindEscapesTheComplaintThatNamesItsKey) {
    struct {
        char const* value;
        char const* key;
    } const places[] = {
        {"\"a::B\"", "services[0].interface"},
        {"\"0x1001\"", "services[0].service_id"},
        {"{\"major\": 2, \"minor\": 0}", "services[0].version"},
        {"2, \"minor\"", "services[0].version.major"},
        {"\"Read\"", "services[0].methods[0].name"},
        {"\"0x0001\"", "services[0].methods[1].id"},
        {"\"udp\"", "services[0].endpoint.transport"},
        {"30510", "services[0].endpoint.port"},
    };
    for (auto const& place : places) {
        for (std::string bad : {"1e999", "-1e999", "1e308", "-1", "1.5", "null", "true", "[]", "\"\""}) {
            if (std::string(place.value).ends_with("\"minor\"")) bad += ", \"minor\"";
            std::string const complaint = complaintAbout(with(place.value, bad));
            EXPECT_EQ(complaint.rfind(std::string("car.json: ") + place.key, 0), 0U)
                << bad << ": " << complaint;
        }
    }
}

/// Sets a variable as long as it lives.
class Setting {
public:
    Setting(char const* variable, char const* value) : m_variable(variable) { ::setenv(variable, value, 1); }
    ~Setting() { ::unsetenv(m_variable); }
    Setting(Setting const&) = delete;
    Setting& operator=(Setting const&) = delete;

private:
    char const* m_variable;
};

std::string complaintAboutEnvironment() {
    try {
        readManifest();
        return "no complaint";
    } catch (ac::com::Invalid_argument_exception const& exception) {
        return exception.what();
    }
}

TEST(Manifest_test, FileThatCannotBeReadIsNamed) {
    Setting const setting("ARA_COM_MANIFEST", "/nowhere/car.json");
    EXPECT_EQ(complaintAboutEnvironment(),
              "environment: ARA_COM_MANIFEST = /nowhere/car.json: can't be read");
}

TEST(Manifest_test, AddressThatIsNoneIsNamed) {
    Setting const setting("ARA_COM_ADDRESS", "example");
    EXPECT_EQ(complaintAboutEnvironment().rfind("environment: ARA_COM_ADDRESS = example: has to be", 0), 0U);
}

TEST(Manifest_test, DefaultHoldsWithoutSettings) {
    EXPECT_EQ(readManifest().origin, "built-in manifest");
}

}  // namespace
}  // namespace eb::com::runtime
