// Two vehicles that offer the same instances, as a directory hears them.
#include "platform/com/discovery/Sd_peer_test.h"

namespace eb::com::runtime {
namespace {

using namespace testing;
using std::chrono::milliseconds;

/// A peer at an address of its own, which offers instances of the first interface.
class Vehicle {
public:
    Vehicle(Fake_clock& clock, Fake_network& network, std::uint32_t ip)
        : m_ip(ip), m_peer(clock, network, ip), m_socket(m_peer.bind({ip, 30490})) {}

    void offer(std::vector<std::uint16_t> const& instances, std::uint32_t ttl = 5) {
        Sd_message message;
        message.session = ++m_session;
        message.reboot = true;
        for (std::uint16_t const instance : instances) {
            Sd_entry entry;
            entry.type = Sd_entry::Type::offer;
            entry.service = 0x1001;
            entry.instance = instance;
            entry.major = 2;
            entry.minor = 0;
            entry.ttl = ttl;
            entry.tcp = Address{m_ip, 30509};
            message.entries.push_back(entry);
        }
        m_socket->send(encode(message), {0x7F000001, 30490});
    }
    void startAgain() { m_session = 0; }

private:
    std::uint32_t const m_ip;
    Fake_peer m_peer;
    std::shared_ptr<Fake_channel> m_socket;
    std::uint16_t m_session = 0;
};

class Sd_rivals_test : public Sd_peer_test {
protected:
    void offer(Vehicle& vehicle, std::vector<std::uint16_t> const& instances, std::uint32_t ttl = 5) {
        vehicle.offer(instances, ttl);
        pass(milliseconds(1));
    }
    Texts where() { return {sut.where(0), sut.where(1)}; }
    Texts others() { return sut.report().instances[0].also_offered_by; }

    Vehicle m_one{m_clock, m_network, 0x7F000002};
    Vehicle m_other{m_clock, m_network, 0x7F000003};
    std::string const m_atOne = "tcp 127.0.0.2:30509";
    std::string const m_atOther = "tcp 127.0.0.3:30509";
};

TEST_F(Sd_rivals_test, FirstVehicleIsUsedWhileItIsThereAndTheOtherIsReported) {
    offer(m_other, {1, 2});
    for (int cycle = 0; cycle < 20; ++cycle) {
        offer(m_one, {1, 2});
        offer(m_other, {1, 2});
        pass(milliseconds(500));
        EXPECT_EQ(where(), (Texts{m_atOther, m_atOther}));
        EXPECT_EQ(others(), Texts{"127.0.0.2:30490 (" + m_atOne + ")"});
        EXPECT_EQ(sut.report().instances[0].offered_by, "127.0.0.3:30490");
    }
    EXPECT_EQ(sut.notices().size(), 2U) << "each found once";
}

TEST_F(Sd_rivals_test, InstancesFoundAtSeveralVehiclesAreAllUsedAtOneOnceItOffersAll) {
    offer(m_one, {1});
    offer(m_other, {1, 2});
    EXPECT_EQ(where(), (Texts{m_atOne, m_atOther})) << "the first vehicle has no second instance";
    offer(m_one, {1, 2});
    EXPECT_EQ(where(), (Texts{m_atOne, m_atOne}));
    offer(m_other, {2, 1});
    offer(m_other, {2});
    EXPECT_EQ(where(), (Texts{m_atOne, m_atOne}));
    offer(m_one, {1}, 0);
    EXPECT_EQ(where(), (Texts{m_atOther, m_atOne})) << "one that is there stays";
}

TEST_F(Sd_rivals_test, OtherVehicleTakesOverAtOnceWhenTheFirstEndsOrStartsAgain) {
    offer(m_one, {1, 2});
    offer(m_other, {1, 2});
    offer(m_one, {1, 2}, 0);
    EXPECT_EQ(where(), (Texts{m_atOther, m_atOther}));
    EXPECT_EQ(others(), Texts{});
    offer(m_one, {1, 2});
    EXPECT_EQ(where(), (Texts{m_atOther, m_atOther})) << "who is there stays";
    pass(milliseconds(100));  // what comes later than this is no copy
    m_other.startAgain();
    offer(m_other, {1, 2});
    EXPECT_EQ(where(), (Texts{m_atOne, m_atOne}));
    EXPECT_EQ(others(), Texts{"127.0.0.3:30490 (" + m_atOther + ")"});
}

TEST_F(Sd_rivals_test, VehicleWhoseOfferRanOutTakesNothingOver) {
    offer(m_one, {1}, 60);
    offer(m_other, {1}, 5);
    pass(milliseconds(4'998));
    EXPECT_EQ(others().size(), 1U);
    pass(milliseconds(1));
    EXPECT_EQ(others(), Texts{});
    offer(m_one, {1}, 0);
    EXPECT_EQ(sut.where(0), "nowhere");
}

TEST_F(Sd_rivals_test, VehicleThatEndsIsNoRivalAnyMore) {
    offer(m_one, {1});
    offer(m_other, {1});
    offer(m_other, {1}, 0);
    EXPECT_EQ(others(), Texts{});
    EXPECT_EQ(sut.where(0), m_atOne);
}

TEST_F(Sd_rivals_test, OfferThatRunsOutLeavesTheInstanceToTheOtherVehicle) {
    offer(m_one, {1}, 3);
    offer(m_other, {1}, 60);
    pass(milliseconds(3'000));
    EXPECT_EQ(sut.where(0), m_atOther);
}

TEST_F(Sd_rivals_test, ManyVehiclesAreRememberedInBounds) {
    std::vector<std::unique_ptr<Vehicle>> vehicles;
    offer(m_one, {1});
    for (std::uint32_t ip = 0x7F000010; ip < 0x7F000010 + 2 * Sd_rivals::MOST; ++ip) {
        vehicles.push_back(std::make_unique<Vehicle>(m_clock, m_network, ip));
        offer(*vehicles.back(), {1});
    }
    EXPECT_EQ(others().size(), Sd_rivals::MOST);
}

}  // namespace
}  // namespace eb::com::runtime
