// The rows of the product's own tables, and the components that they make.

#include "registry/Diag_Ara_Components_Services.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>

#include "client/Listener.h"
#include "registry/DiagAraService.h"
#include "servers/did/Servers.h"
#include "servers/dtc/Server.h"
#include "servers/routine/Servers.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::NotNull;
using zvg::val::diag_ara::services::Diag_Ara_Components;
using zvg::val::diag_ara::services::Diag_Ara_Components_Services;
using zvg::val::diag_ara::services::Runnable;
namespace services = zvg::val::diag_ara::services;

std::vector<std::string> const DATA_IDENTIFIERS{
    "FCATLVB",   "FCFODPL",   "FCHMS",        "FODVI",      "FSATLCP",     "FSATLFBR", "FSFODMES1",
    "FSFODMES2", "FSFODPTFA", "FSFODSIDSEVR", "FSFODSIDSI", "FSFODSIDSNA", "FSMDSC",   "FSPL"};

std::vector<std::string> routedFor(int msgId) {
    std::vector<std::string> identifiers;
    for (auto const& [identifier, id] : Diag_Ara_Components_Services::getValMsgIds()) {
        if (id == msgId) identifiers.push_back(identifier);
    }
    return identifiers;
}

/// All components, in the order in which they are made and started.
std::vector<std::string> const COMPONENTS{
    "DM",       "FCATLVB",   "FCDDD",     "FCFODPL",   "FCHMS",        "FODVI",      "FSATLCP",
    "FSATLFBR", "FSFODMES1", "FSFODMES2", "FSFODPTFA", "FSFODSIDSEVR", "FSFODSIDSI", "FSFODSIDSNA",
    "FSIP",     "FSMDSC",    "FSPL",      "FSRP",      "FSSPIATN",     "FSTPFATN"};

TEST(TablesTest, HaveTheTwentyComponentsInTheirOrder) {
    ASSERT_EQ(COMPONENTS.size(), 20U);
    std::vector<std::string> identifiers;
    for (auto const& [identifier, factory] : Diag_Ara_Components_Services::getServices()) {
        identifiers.push_back(identifier);
        EXPECT_THAT(factory, NotNull());
    }
    EXPECT_EQ(identifiers, COMPONENTS);
}

TEST(TablesTest, RouteTwentySevenRows) {
    EXPECT_EQ(Diag_Ara_Components_Services::getValMsgIds().size(), 27U);
}

TEST(TablesTest, RouteAResponseToAllDataIdentifierServers) {
    EXPECT_EQ(routedFor(2350), DATA_IDENTIFIERS);
}

TEST(TablesTest, RouteARoutineResponseToAllRoutineServers) {
    EXPECT_THAT(routedFor(666), ElementsAre("FSIP", "FSRP", "FSSPIATN", "FSTPFATN"));
}

TEST(TablesTest, RouteTheStateOfATroubleCodeToTheMonitor) {
    EXPECT_THAT(routedFor(2937), ElementsAre("DM"));
}

TEST(TablesTest, RouteEachMessageOfTheDataDistributionToItsClient) {
    for (int const msgId : {546, 547, 548, 549, 586, 588, 600, 647}) {
        EXPECT_THAT(routedFor(msgId), ElementsAre("FCDDD")) << msgId;
    }
}

TEST(TablesTest, NameTwentyComponents) {
    using Ids = Diag_Ara_Components_Services;
    std::set<std::string> const names{
        Ids::SERVICE_DIAGNOSTIC_MONITOR_SERVER,
        Ids::SERVICE_AUTHENTIC_TIME_LAST_VALID_BACKEND_REQUEST_SERVER,
        Ids::SERVICE_DIAGNOSTIC_DATA_DIST_CLIENT,
        Ids::SERVICE_FUNCTION_ON_DEMAND_PRODUCT_LIST_SERVER,
        Ids::SERVICE_HISTORY_MEMORY_SYNCHRONISATION_SERVER,
        Ids::SERVICE_FUNCTION_ON_DEMAND_VERSION_INFO_SERVER,
        Ids::SERVICE_AUTHENTIC_TIME_LAST_CLIENT_PACKAGE_SERVER,
        Ids::SERVICE_AUTHENTIC_TIME_LAST_FAILED_BACKEND_REQUEST_SERVER,
        Ids::SERVICE_FOD_MANAGER_EXTENDED_STATE_1_SERVER,
        Ids::SERVICE_FOD_MANAGER_EXTENDED_STATE_2_SERVER,
        Ids::SERVICE_FUNCTION_ON_DEMAND_PRODUCT_TO_FSID_ASSOCIATION_SERVER,
        Ids::SERVICE_FODSOMEIPDATABUSSERVICEERRORVALUERECEIVED_SERVER,
        Ids::SERVICE_FODSOMEIPDATABUSSERVICEIMPLAUSIBLE_SERVER,
        Ids::SERVICE_FODSOMEIPDATABUSSERVICENOTAVAILABLE_SERVER,
        Ids::SERVICE_INITIALIZE_PARAMETERS_SERVER,
        Ids::SERVICE_META_DATA_SHADOW_COPY_SERVER,
        Ids::SERVICE_PARAMETER_LIST_SERVER,
        Ids::SERVICE_REBUILD_PARAMETERS_SERVER,
        Ids::SERVICE_STORE_PARAMETERS_IN_ATN_SERVER,
        Ids::SERVICE_TRANSFER_PARAMETERS_FROM_ATN_SERVER,
    };
    EXPECT_EQ(names.size(), 20U);
    for (auto const& [identifier, msgId] : Diag_Ara_Components_Services::getValMsgIds()) {
        EXPECT_TRUE(names.contains(identifier)) << identifier;
    }
}

template <class Server>
bool makes(char const* identifier) {
    auto const component = Diag_Ara_Components_Services::getServices().at(identifier)();
    return dynamic_cast<Server*>(component.get()) != nullptr;
}

TEST(TablesTest, MakeTheComponentThatTheIdentifierStandsFor) {
    EXPECT_TRUE(makes<services::authentictimelastvalidbackendrequest::methods::Server>("FCATLVB"));
    EXPECT_TRUE(makes<services::functionondemandproductlist::methods::Server>("FCFODPL"));
    EXPECT_TRUE(makes<services::historymemorysynchronization::methods::Server>("FCHMS"));
    EXPECT_TRUE(makes<services::functionondemandversioninfo::methods::Server>("FODVI"));
    EXPECT_TRUE(makes<services::authentictimelastclientpackage::methods::Server>("FSATLCP"));
    EXPECT_TRUE(makes<services::authentictimelastfailedbackendrequest::methods::Server>("FSATLFBR"));
    EXPECT_TRUE(makes<services::fodmanagerextendedstate1::methods::Server>("FSFODMES1"));
    EXPECT_TRUE(makes<services::fodmanagerextendedstate2::methods::Server>("FSFODMES2"));
    EXPECT_TRUE(makes<services::functionondemandproducttofsidassociation::methods::Server>("FSFODPTFA"));
    EXPECT_TRUE(makes<services::fodsomeipdatabusserviceerrorvaluereceived::methods::Server>("FSFODSIDSEVR"));
    EXPECT_TRUE(makes<services::fodsomeipdatabusserviceimplausible::methods::Server>("FSFODSIDSI"));
    EXPECT_TRUE(makes<services::fodsomeipdatabusservicenotavailable::methods::Server>("FSFODSIDSNA"));
    EXPECT_TRUE(makes<services::metadatashadowcopy::methods::Server>("FSMDSC"));
    EXPECT_TRUE(makes<services::parameterlist::methods::Server>("FSPL"));
    EXPECT_TRUE(makes<services::diagnosticsmonitor::methods::Server>("DM"));
    EXPECT_TRUE(makes<services::diagnosticdatadistribution::field::Listener>("FCDDD"));
    EXPECT_TRUE(makes<services::initializeparameters::methods::Server>("FSIP"));
    EXPECT_TRUE(makes<services::rebuildparameters::methods::Server>("FSRP"));
    EXPECT_TRUE(makes<services::storeparametersinatn::methods::Server>("FSSPIATN"));
    EXPECT_TRUE(makes<services::transferparametersfromatn::methods::Server>("FSTPFATN"));
}

TEST(TablesTest, EveryComponentOfTheSecondLifeIsCalledOne) {
    // Given the product's rows with components that write down what they are called
    static std::vector<std::string> calls;
    class Recording : public Runnable {
    public:
        explicit Recording(std::string identifier) : m_identifier(std::move(identifier)) {}
        void init(std::string name) override { calls.push_back(m_identifier + ' ' + name); }
        void start() override {}

    private:
        std::string m_identifier;
    };
    services::ServiceTable recording;
    for (auto const& [identifier, factory] : Diag_Ara_Components_Services::getServices()) {
        recording[identifier] = [key = identifier] { return std::make_unique<Recording>(key); };
    }
    Diag_Ara_Components registry(recording, Diag_Ara_Components_Services::getValMsgIds());
    for (char const* name : {" 0", " 1"}) {
        // When
        calls.clear();
        ASSERT_EQ(registry.init(), 0);
        // Then
        std::vector<std::string> expected;
        for (std::string const& identifier : COMPONENTS) expected.push_back(identifier + name);
        EXPECT_EQ(calls, expected);
        EXPECT_EQ(registry.getReceivers(2350).size(), 14U);
        EXPECT_EQ(registry.getReceivers(666).size(), 4U);
        EXPECT_EQ(registry.getReceivers(2937).size(), 1U);
        registry.destroy();
    }
}

TEST(TablesTest, BecomeLiveReceivers) {
    Diag_Ara_Components registry(Diag_Ara_Components_Services::getServices(),
                                 Diag_Ara_Components_Services::getValMsgIds());
    for (int generation = 0; generation < 2; ++generation) {
        ASSERT_EQ(registry.init(), 0);
        EXPECT_EQ(registry.getReceivers(2350).size(), 14U);
        EXPECT_THAT(registry.getReceivers(601), IsEmpty());
        EXPECT_THAT(registry.getReceivers(-1), IsEmpty());
        unsigned char byte = 0;
        for (Runnable* receiver : registry.getReceivers(2350)) {
            EXPECT_EQ(receiver->handleMsg(2350, 1, &byte), 1) << "nobody has asked";
            EXPECT_EQ(receiver->handleMsg(666, 1, &byte), 4);
        }
        EXPECT_EQ(registry.getReceivers(666).size(), 4U);
        for (Runnable* receiver : registry.getReceivers(666)) {
            EXPECT_EQ(receiver->handleMsg(666, 1, &byte), 7) << "truncated";
            EXPECT_EQ(receiver->handleMsg(2350, 1, &byte), 4);
        }
        ASSERT_EQ(registry.getReceivers(2937).size(), 1U);
        EXPECT_EQ(registry.getReceivers(2937)[0]->handleMsg(2937, 1, &byte), 7) << "truncated";
        for (int const msgId : {546, 547, 548, 549, 586, 588, 600, 647}) {
            ASSERT_EQ(registry.getReceivers(msgId).size(), 1U) << msgId;
            EXPECT_EQ(registry.get(msgId)->handleMsg(msgId, 1, &byte), msgId == 600 ? 0 : 7) << msgId;
        }
        registry.destroy();
    }
}

}  // namespace
