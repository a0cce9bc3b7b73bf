// Read, Cancel, responses and sends that fail, in every order of their steps: no caller is left without a
// reply.
#include <cstdio>
#include <tuple>

#include <gtest/gtest.h>

#include "servers/did/ReadRequest.h"
#include "servers/did/Shapes.h"
#include "servers/did/test/Identifiers.h"
#include "servers/did/test/Interleavings.h"

namespace did_test {
namespace {

namespace services = zvg::val::diag_ara::services;

// The value of a Read. Its birth and its end are pauses: between them it is on its way into a promise.
class Value {
public:
    Value() : m_first(true) { pause("value"); }
    Value(Value const& other) : byte(other.byte) {}
    Value(Value&& other) noexcept : byte(other.byte) {}
    Value& operator=(Value const&) = delete;
    ~Value() {
        if (m_first) pause("completed");
    }

    auto fields() { return std::tie(byte); }
    std::uint8_t byte = 0;

private:
    bool m_first = false;
};

struct ScriptedRead {
    using Output = Value;
};

// The generated part of an interface, without a platform behind it.
class ScriptedSkeleton {
public:
    using Meta = std::map<std::string, std::string>;

    ScriptedSkeleton(std::string const&, unsigned char) {}
    virtual ~ScriptedSkeleton() = default;
    virtual eb::com::Future<void> Cancel(Meta const&) = 0;
    virtual eb::com::Future<Value> Read(Meta const&) = 0;
    void OfferService() {}
    void StopOfferService() {}
};

thread_local bool sendFails = false;

}  // namespace
}  // namespace did_test

namespace zvg::val::diag_ara::services {

/// In place of the product's: there is no Java.
eValStatus sendReadRequest(std::uint16_t) {
    return did_test::sendFails ? eValSendFailed : eValOk;
}

/// As the product's, but a line of the log is a pause.
template <class Server>
class SkeletonServer<::Skeleton_impl<did_test::ScriptedSkeleton, Server, did_test::Value, void>>
    : public Runnable {
public:
    void start() override {}

protected:
    template <class... Args>
    void out(eLogLevel level, Args...) const {
        if (level != level::ERROR) did_test::pause("line");  // nothing shared is touched after an error's
    }

    std::unique_ptr<::Skeleton_impl<did_test::ScriptedSkeleton, Server, did_test::Value, void>> m_skeleton;
    std::string m_instanceId = "1";
    std::string m_logPrefix;
};

}  // namespace zvg::val::diag_ara::services

namespace did_test {
namespace {

using zvg::val::eValStatus;

constexpr std::uint16_t NUMBER = 0x1234;
constexpr std::uint8_t DATA = 0xDA;

// A server of one shape. Its decoder is a step of its own.
template <template <class, class, class> class Shape>
class ScriptedServer : public Shape<ScriptedServer<Shape>, ScriptedSkeleton, ScriptedRead> {
public:
    using Base = Shape<ScriptedServer, ScriptedSkeleton, ScriptedRead>;
    ScriptedServer()
        : Base({.requestId = NUMBER, .serviceName = "scripted", .checks = {{{.identifier = true}}}}) {}

private:
    eValStatus unpackDiagnosticsresponse(unsigned short length, unsigned char* data) override {
        pause("decoder");
        return Base::unpackDiagnosticsresponse(length, data);
    }
};
using FullServer = ScriptedServer<services::FullShape>;
using ShortServer = ScriptedServer<services::ShortShape>;

// The state of the servers is private; here it distinguishes one moment from another.
template <class Server, auto pending, auto canceled, auto latest, auto answered>
struct Peek {
    friend std::string latestRead(Server const& server) { return std::to_string(server.*latest); }
    friend std::string stateOf(Server const& server) {
        return std::string(server.*pending ? "P" : "-") + (server.*canceled ? "C" : "-") +
               std::to_string(server.*latest) + '/' + std::to_string(server.*answered);
    }
};
std::string stateOf(FullServer const&);
std::string stateOf(ShortServer const&);
std::string latestRead(FullServer const&);
std::string latestRead(ShortServer const&);
#define OPEN(Server)                                                                    \
    template struct Peek<Server, &Server::m_requestPending, &Server::m_requestCanceled, \
                         &Server::m_latestRead, &Server::m_answeredRead>
OPEN(FullServer);
OPEN(ShortServer);

struct ReadOutcome {
    int calls = 0;
    int values = 0;
    int broken = 0;  // replaced
    std::uint8_t byte = 0;
};

// A server and what is played with it. One letter a part:
//   r a Read    f a Read whose send fails    n a Read once any Read has a reply
//   i a Read whose reply callback reads again    c a Cancel    j a response of Java    J two of them
template <class Server>
class DidScene : public Scene {
public:
    explicit DidScene(std::string const& cast) : m_cast(cast) { m_skeleton.m_server = &m_server; }
    ~DidScene() override { m_ended = true; }

    std::vector<Role> roles() override {
        std::vector<Role> all;
        for (char const kind : m_cast) {
            Role role;
            role.name = kind;
            switch (kind) {
                case 'c':
                    ++m_cancels;
                    role.beginsAlone = true;
                    role.play = [this] { cancel(); };
                    break;
                case 'j':
                    role.beginsAlone = true;
                    role.play = [this] { respond(); };
                    break;
                case 'J':
                    role.beginsAlone = true;
                    role.play = [this] {
                        respond();
                        respond();
                    };
                    break;
                case 'n':
                    role.ready = [this] { return anyReply(); };
                    [[fallthrough]];
                default:
                    role.play = [this, kind, outcome = newRead()] {
                        sendFails = kind == 'f';
                        read(outcome, kind == 'i' ? newRead() : nullptr);
                    };
            }
            all.push_back(std::move(role));
        }
        return all;
    }

    std::string state() override {
        std::string text = stateOf(m_server);
        for (auto const& read : m_reads)
            text += ' ' + std::to_string(read->values) + std::to_string(read->broken) +
                    std::to_string(read->byte);
        return text + ' ' + std::to_string(m_canceled);
    }

    /// Each operation remembers which Read it found.
    std::string memory() override { return latestRead(m_server); }

    void check() override {
        // Java answers in the end, and a Read that is made in the reply as well.
        respond();
        respond();
        EXPECT_EQ(m_canceled, m_cancels);
        int calls = 0;
        int replaced = 0;
        for (auto const& read : m_reads) {
            EXPECT_EQ(read->values + read->broken, read->calls) << "a caller without a reply";
            calls += read->calls;
            replaced += read->broken;
            EXPECT_TRUE(read->byte == 0 || read->byte == DATA);
        }
        EXPECT_LT(replaced, calls) << "the latest can not have been replaced";
        // And the server works on.
        auto const next = newRead();
        sendFails = false;
        read(next, nullptr);
        EXPECT_EQ(respond(), zvg::val::eValOk);
        EXPECT_EQ(next->values, 1);
        EXPECT_EQ(next->byte, DATA);
    }

private:
    std::shared_ptr<ReadOutcome> newRead() {
        m_reads.push_back(std::make_shared<ReadOutcome>());
        return m_reads.back();
    }

    void read(std::shared_ptr<ReadOutcome> const& outcome, std::shared_ptr<ReadOutcome> const& again) {
        ++outcome->calls;
        m_skeleton.Read({}).then([this, outcome, again](eb::com::Future<Value> result) {
            try {
                outcome->byte = result.get().byte;
                ++outcome->values;
            } catch (std::future_error const&) {
                ++outcome->broken;
            }
            if (again && !m_ended) read(again, nullptr);
        });
    }

    void cancel() {
        auto done = m_skeleton.Cancel({});
        if (done.wait_for(std::chrono::seconds(0)) == std::future_status::ready) ++m_canceled;
    }

    eValStatus respond() {
        Bytes payload = response(NUMBER, {DATA});
        return m_server.handleMsg(2350, static_cast<unsigned short>(payload.size()), payload.data());
    }

    bool anyReply() const {
        for (auto const& read : m_reads) {
            if (read->values != 0) return true;
        }
        return false;
    }

    std::string const m_cast;
    bool m_ended = false;  // a client whose Read ends with the server makes no other
    Server m_server;
    ::Skeleton_impl<ScriptedSkeleton, Server, Value, void> m_skeleton{"1"};
    std::vector<std::shared_ptr<ReadOutcome>> m_reads;
    int m_cancels = 0;
    int m_canceled = 0;
};

std::vector<std::string> casts() {
    std::vector<std::string> all{"rcj", "fcj",  "rrj", "rfj",  "ffc", "rrc",
                                 "rfc", "rccj", "rnJ", "rncJ", "icJ"};
#if !defined(DIAG_ARA_SANITIZED_ADDRESS) && !defined(DIAG_ARA_SANITIZED_THREAD)  // minutes there
    all.push_back("rfcj");
#endif
    return all;
}

class EveryOrderOf : public testing::TestWithParam<std::string> {};
INSTANTIATE_TEST_SUITE_P(Cast, EveryOrderOf, testing::ValuesIn(casts()),
                         [](auto const& info) { return info.param; });

TEST_P(EveryOrderOf, StepsAnswersEachCallerOfAServerThatEndsEachRead) {
    Played const played = playAllOrders([] { return std::make_unique<DidScene<FullServer>>(GetParam()); });
    std::printf("%zu orders, %zu moments\n", played.orders, played.moments);
    EXPECT_GT(played.orders, 10U);
}

TEST_P(EveryOrderOf, StepsAnswersEachCallerOfAServerWithoutErrorReplies) {
    Played const played = playAllOrders([] { return std::make_unique<DidScene<ShortServer>>(GetParam()); });
    std::printf("%zu orders, %zu moments\n", played.orders, played.moments);
    EXPECT_GT(played.orders, 10U);
}

}  // namespace
}  // namespace did_test
