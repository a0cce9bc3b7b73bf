// Processes at one address speak discovery with one voice while they come and go.
#include "platform/com/discovery/Sd_voice_test.h"

#include <algorithm>

namespace eb::com::runtime {
namespace {

using namespace testing;
using std::chrono::milliseconds;
using std::chrono::seconds;

INSTANTIATE_TEST_SUITE_P(Mode, Sd_voice_test, ::testing::Values("unicast", "multicast"),
                         [](auto const& mode) { return std::string(mode.param); });

/// Longer than a voice needs to change its speaker.
constexpr seconds TAKE_OVER{1};

TEST_P(Sd_voice_test, OffersOfAllProcessesComeFromOnePortWithOneSessionCounter) {
    auto const first = process();
    auto const second = process();
    auto const third = process();
    first->offer(0);
    second->offer(1);
    third->offer(2);
    for (int count = 0; count < 10; ++count) {
        pass(milliseconds(700));
        ASSERT_EQ(standing(), (std::set<Instance>{A1, A2, B1})) << "after " << count;
    }
    EXPECT_EQ(reboots(), 0U);
    EXPECT_EQ(role(first), "speaker");
    EXPECT_EQ(role(second), "member");
    EXPECT_EQ(third->where(0), "tcp 127.0.0.1:30509");
    EXPECT_EQ(first->where(2), "udp 127.0.0.1:30509");
    second->withdraw(1);
    pass(milliseconds(1));
    EXPECT_EQ(standing(), (std::set<Instance>{A1, B1}));
    EXPECT_EQ(third->where(1), "nowhere");
}

TEST_P(Sd_voice_test, StrangersSearchIsAnsweredByWhoeverOffers) {
    auto const first = process();
    auto const second = process();
    second->offer(1);
    meet();
    heard();
    say({entry(Type::find, 0x1001, 2)});
    EXPECT_EQ(heard(Type::offer).size(), 1U);
    pass(seconds(2));
    heard();
    say({entry(Type::find, 0x1001, 1)});
    EXPECT_EQ(heard(Type::offer).size(), 0U);
}

TEST_P(Sd_voice_test, StrangersSubscriptionIsAnsweredOnceByWhoeverOffers) {
    auto const first = process();
    auto const second = process();
    auto const third = process();
    second->offer(1);
    meet();
    heard();
    say({entry(Type::subscribe, 0x1001, 2)});
    auto const granted = heard(Type::subscribeAck);
    ASSERT_EQ(granted.size(), 1U);
    EXPECT_EQ(granted[0].ttl, 5U);
    EXPECT_EQ(second->events(), Texts{"initial to tcp 127.0.0.2:30600"});
    auto unknown = entry(Type::subscribe, 0x1001, 2);
    unknown.eventgroup = 9;
    for (auto const& question :
         {entry(Type::subscribe, 0x1001, 1), entry(Type::subscribe, 0x7777), unknown}) {
        say({question});
        auto const refused = heard(Type::subscribeAck);
        ASSERT_EQ(refused.size(), 1U);
        EXPECT_EQ(refused[0].ttl, 0U);
        EXPECT_EQ(refused[0].service, question.service);
    }
    auto stop = entry(Type::subscribe, 0x1001, 2);
    stop.ttl = 0;
    say({stop});
    EXPECT_EQ(second->events(), Texts{"without tcp 127.0.0.2:30600"});
}

TEST_P(Sd_voice_test, EqualSubscriptionsOfTwoProcessesAreToldApart) {
    auto const first = process();
    auto const second = process();
    meet();
    say({entry(Type::offer)});
    ASSERT_EQ(second->where(0), "tcp 127.0.0.2:30600");
    first->subscribe(0, 7, 5555);
    second->subscribe(0, 7, 6666);
    pass(milliseconds(1));
    auto const asked = heard(Type::subscribe);
    ASSERT_EQ(asked.size(), 2U);
    EXPECT_NE(asked[0].counter, asked[1].counter);
    auto const answer = [&](std::uint16_t port, std::uint32_t ttl) {
        auto const it = std::find_if(asked.begin(), asked.end(),
                                     [port](auto const& subscribe) { return subscribe.tcp->port == port; });
        auto ack = entry(Type::subscribeAck);
        ack.ttl = ttl;
        ack.counter = it->counter;
        return ack;
    };
    say({answer(6666, 5)});
    EXPECT_EQ(second->events(), Texts{"state 2"});
    EXPECT_EQ(first->events(), Texts{});
    say({answer(5555, 0)});
    EXPECT_EQ(second->events(), Texts{});
    EXPECT_EQ(first->events(), Texts{"state 0"});
}

TEST_P(Sd_voice_test, SpeakersEndIsOneRebootAndLosesNoServiceThatIsStillThere) {
    for (bool const killed : {false, true}) {
        auto processes = threeThatOffer();
        pass(seconds(3));
        mark();
        auto const before = reboots();
        for (auto const& each : processes) each->notices();
        if (killed)
            processes[0]->kill();
        else
            processes[0]->end();
        pass(TAKE_OVER);
        EXPECT_EQ(reboots(), before + 1);
        EXPECT_EQ(standing(), (std::set<Instance>{A2, B1}));
        EXPECT_EQ(gaps(A2), 0U);
        EXPECT_EQ(gaps(B1), 0U);
        EXPECT_EQ((role(processes[1]) == "speaker") + (role(processes[2]) == "speaker"), 1);
        EXPECT_EQ((role(processes[1]) == "member") + (role(processes[2]) == "member"), 1);
        EXPECT_EQ(processes[1]->notices(),
                  Texts{std::string("1 test::A tcp 127.0.0.1:30509 ") + (killed ? "gone" : "withdrawn")})
            << "fellows that are still there aren't lost";
        processes.erase(processes.begin());
        pass(seconds(3));
        EXPECT_EQ(reboots(), before + 1);
        EXPECT_EQ(processes[0]->where(2), "udp 127.0.0.1:30509");
        EXPECT_EQ(processes[1]->where(1), "tcp 127.0.0.1:30510");
        for (; !processes.empty(); processes.pop_back(), pass(TAKE_OVER)) processes.back()->end();
        EXPECT_EQ(standing(), std::set<Instance>{});
        say({entry(Type::find, 0x7777)});
    }
}

TEST_P(Sd_voice_test, KilledMembersOffersAndSubscriptionsAreTakenBack) {
    auto const speaker = process();
    auto const member = process();
    auto const fellow = process();
    say({entry(Type::offer)});
    member->offer(1);
    fellow->offer(2);
    member->subscribe(0);
    meet();
    say({[] {
        auto ack = entry(Type::subscribeAck);
        return ack;
    }()});
    EXPECT_EQ(member->events(), Texts{"state 2"});
    fellow->subscribe(1, 7, 6666);
    meet();
    EXPECT_EQ(fellow->events(), Texts{"state 2"});
    member->subscribe(2, 7, 6667);
    meet();
    EXPECT_EQ(fellow->events(), Texts{"initial to udp 127.0.0.1:6667"});
    mark();
    fellow->notices();
    member->kill();
    pass(milliseconds(1));
    auto const said = heard();
    EXPECT_EQ(std::count_if(said.begin(), said.end(),
                            [](auto const& stop) {
                                return stop.ttl == 0 && stop.type == Type::subscribe &&
                                       stop.tcp->port == 5555;
                            }),
              1);
    EXPECT_EQ(standing(), std::set<Instance>{B1});
    EXPECT_EQ(gaps(B1), 0U);
    EXPECT_EQ(reboots(), 0U);
    EXPECT_EQ(fellow->where(1), "nowhere");
    EXPECT_EQ(speaker->where(1), "nowhere");
    EXPECT_EQ(fellow->events(), (Texts{"without udp 127.0.0.1:6667"}));
    EXPECT_EQ(fellow->notices(),
              (Texts{"4 test::B udp 127.0.0.1:6667 gone", "1 test::A tcp 127.0.0.1:30510 gone"}));
}

TEST_P(Sd_voice_test, SubscriptionThatIsBeingMadeSurvivesTheSpeakersEnd) {
    auto speaker = process();
    auto const client = process();
    auto const server = process();
    server->offer(1);
    say({entry(Type::offer)});
    meet();
    client->subscribe(1);  // at a fellow
    client->subscribe(0);  // at a stranger
    speaker->kill();
    pass(TAKE_OVER);
    EXPECT_EQ(client->events(), Texts{"state 2"}) << "the fellow's";
    auto const asked = heard(Type::subscribe);
    ASSERT_FALSE(asked.empty());
    auto ack = entry(Type::subscribeAck);
    ack.counter = asked.back().counter;
    say({ack});
    EXPECT_EQ(client->events(), Texts{"state 2"}) << "the stranger's";
    EXPECT_EQ(server->events(), Texts{"initial to tcp 127.0.0.1:5555"});
}

TEST_P(Sd_voice_test, SubscriptionsHoldWhenTheSpeakerEnds) {
    auto speaker = process();
    auto const client = process();
    auto const server = process();
    server->offer(1);
    say({entry(Type::offer)});
    meet();
    client->subscribe(1);
    client->subscribe(0);
    pass(milliseconds(1));
    say({entry(Type::subscribeAck)});
    say({entry(Type::subscribe, 0x1001, 2)});
    EXPECT_EQ(client->events(), (Texts{"state 2", "state 2"}));
    server->events();
    heard();
    speaker->kill();
    pass(TAKE_OVER);
    auto const asked = heard(Type::subscribe);
    EXPECT_TRUE(std::any_of(asked.begin(), asked.end(), [](auto const& ask) { return ask.ttl != 0; }))
        << "the stranger took the voice for rebooted: it is asked again";
    EXPECT_EQ(client->events(), Texts{});
    EXPECT_EQ(server->events(), Texts{}) << "neither the fellow's subscription nor the stranger's has ended";
}

TEST_P(Sd_voice_test, EveryoneMaySpeakInTurn) {
    std::vector<std::unique_ptr<Process>> processes;
    for (int count = 0; count < 5; ++count) processes.push_back(process());
    processes[4]->offer(0);
    pass(seconds(1));
    mark();
    for (unsigned count = 1; processes.size() > 1; ++count) {
        // Given one speaker, when it is killed, then there is one again.
        auto const speaker = std::find_if(processes.begin(), processes.end(),
                                          [](auto const& each) { return role(each) == "speaker"; });
        ASSERT_NE(speaker, processes.end());
        if (*speaker == processes.back()) break;
        (*speaker)->kill();
        processes.erase(speaker);
        pass(TAKE_OVER);
        EXPECT_EQ(reboots(), count);
        EXPECT_EQ(gaps(A1), 0U);
        EXPECT_EQ(std::count_if(processes.begin(), processes.end(),
                                [](auto const& each) { return role(each) == "speaker"; }),
                  1);
        for (auto const& each : processes) EXPECT_EQ(each->report().peers.size(), processes.size() - 1);
    }
}

TEST_P(Sd_voice_test, SpeakerAndMemberKilledAtOnceAreBothMissed) {
    auto const processes = threeThatOffer();
    pass(seconds(1));
    mark();
    processes[0]->kill();
    processes[1]->kill();
    pass(TAKE_OVER);
    EXPECT_EQ(role(processes[2]), "speaker");
    EXPECT_EQ(standing(), std::set<Instance>{B1});
    EXPECT_EQ(gaps(B1), 0U);
    EXPECT_GE(reboots(), 1U);
    EXPECT_LE(reboots(), 2U) << "the member may have begun to speak";
    EXPECT_EQ(processes[2]->where(0), "nowhere");
    EXPECT_EQ(processes[2]->where(1), "nowhere");
}

/// In multicast mode the group hears it.
class Sd_unicast_voice_test : public Sd_voice_test {};
INSTANTIATE_TEST_SUITE_P(Mode, Sd_unicast_voice_test, ::testing::Values("unicast"));

TEST_P(Sd_unicast_voice_test, StrangerThatNoManifestNamesHearsTheOffersOfTheNextSpeaker) {
    Fake_peer other(m_clock, m_network, 0x7F000009);
    auto const unnamed = other.bind({0x7F000009, 30490});
    auto speaker = process();
    auto const early = process();
    early->offer(0);
    pass(seconds(1));
    Sd_message question;
    question.session = 1;
    question.reboot = true;
    question.entries = {entry(Type::find, 0x7777)};
    unnamed->send(encode(question), VOICE);
    meet();
    auto const late = process();  // when the stranger has said all that it has to say
    meet();
    early->kill();
    unnamed->take();
    speaker->kill();
    late->offer(1);
    pass(TAKE_OVER);
    std::set<Instance> offered;
    for (auto const& datagram : unnamed->take()) {
        EXPECT_EQ(datagram.from, VOICE);
        for (Sd_entry const& entry : messageOf(datagram).entries)
            if (entry.type == Type::offer && entry.ttl != 0) offered.insert({entry.service, entry.instance});
    }
    EXPECT_EQ(offered, std::set<Instance>{A2});
}

TEST_P(Sd_voice_test, VoiceThatWasStoppedGoesOn) {
    auto const speaker = process();
    auto const member = process();
    member->offer(0);
    pass(seconds(1));
    // Given processes that don't read what the others at their address say ...
    m_network.stall(VOICE.ip);
    member->withdraw(0);
    member->offer(1);
    pass(seconds(20));
    auto const late = process();
    pass(seconds(10));
    EXPECT_EQ(role(late), "joining");
    // ... when they go on, then all is as if they had.
    m_network.stall(VOICE.ip, false);
    pass(seconds(3));
    EXPECT_EQ(role(late), "member");
    EXPECT_EQ(role(member), "member");
    EXPECT_EQ(standing(), std::set<Instance>{A2});
    EXPECT_EQ(speaker->where(0), "nowhere");
    EXPECT_EQ(late->where(1), "tcp 127.0.0.1:30510");
    EXPECT_EQ(reboots(), 0U);
}

TEST_P(Sd_voice_test, StrangerAtThePortIsWaitedFor) {
    Fake_peer other(m_clock, m_network, VOICE.ip);
    auto const held = other.bind(VOICE);
    auto const first = process();
    auto const second = process();
    first->offer(0);
    pass(seconds(5));
    EXPECT_EQ(role(first), "joining");
    EXPECT_EQ(second->where(0), "nowhere");
    held->close();
    pass(seconds(3));
    EXPECT_EQ((role(first) == "speaker") + (role(second) == "speaker"), 1);
    EXPECT_EQ(second->where(0), "tcp 127.0.0.1:30509");
    EXPECT_EQ(standing(), std::set<Instance>{A1});
}

TEST_P(Sd_voice_test, StrangerThatTakesConnectionsAndSaysNothingIsWaitedFor) {
    Fake_peer other(m_clock, m_network, VOICE.ip);
    auto const held = other.bind(VOICE);
    other.listen(VOICE);
    auto const first = process();
    first->offer(0);
    pass(seconds(10));
    EXPECT_EQ(role(first), "joining");
    EXPECT_LE(other.accepted().size(), 16U) << "eight in the first two seconds, then one in two";
    held->close();
    other.shut();
    pass(seconds(3));
    EXPECT_EQ(role(first), "speaker");
    EXPECT_EQ(standing(), std::set<Instance>{A1});
}

}  // namespace
}  // namespace eb::com::runtime
