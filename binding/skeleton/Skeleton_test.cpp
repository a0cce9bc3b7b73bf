// The generated skeletons, offered to a client through the real runtime.
#include "binding/skeleton/Skeleton.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <ac/com/Exceptions.h>
#include <ac/com/cpp_binding/proxy/Rport.h>

#include "binding/adapter/Platform_adapter.h"
#include "binding/generated/all.h"
#include "binding/payload/Deserializer.h"
#include "binding/payload/Serializer.h"
#include "binding/testing/Replies.h"
#include "binding/testing/Runtime.h"
#include "platform/log/Memory_target.h"

namespace zvg::services::diag {
namespace {

using ac::com::cpp_binding::proxy::Rport;
using ac::com::someip::serialization::to_bytes;
using ara::log::Capture;
using binding_testing::Reply;
using eb::com::runtime::Call_outcome;
using eb::com::runtime::Call_result;
using eb::com::runtime::Serialized_payload;
using Time = d_b047::DataIdentifier_AuthenticTimeLastClientPackage;

constexpr unsigned short CANCEL = 0;
constexpr unsigned short READ = 1;

// Whatever doesn't differ between the interfaces is no template: it would be compiled for each of them.

/// A future that is complete already.
template <class Output>
eb::com::Future<Output> completed(Output output) {
    eb::com::Promise<Output> promise;
    promise.set_value(std::move(output));
    return promise.get_future();
}
eb::com::Future<void> completed() {
    eb::com::Promise<void> promise;
    promise.set_value();
    return promise.get_future();
}

/// What a service's implementation was called for.
struct Calls {
    void note(char const* method, Meta const& meta) {
        log.push_back(method + (" " + std::to_string(meta.size())));
    }

    std::vector<std::string> log;  // one call at a time in these tests
    std::function<void()> onRead;
};

/// A service that answers at once: Read with empty fields.
template <class Interface>
class Prompt_service : public Data_identifier_skeleton<Interface>, public Calls {
public:
    using Output = typename Interface::ReadMethod::Output;
    using Data_identifier_skeleton<Interface>::Data_identifier_skeleton;

    eb::com::Future<void> Cancel(Meta const& meta) override {
        note("Cancel", meta);
        return completed();
    }
    eb::com::Future<Output> Read(Meta const& meta) override {
        note("Read", meta);
        if (onRead) {
            onRead();
        }
        return completed(Output{});
    }
};

class Any_client {
public:
    Any_client(std::string_view name, std::uint32_t description)
        : m_port{{{std::string(name)}, {"1"}}, {description}} {}

    Call_result call(unsigned short method, Meta const& meta) {
        auto answer = std::make_shared<std::promise<Call_result>>();
        auto result = answer->get_future();
        ac::com::cpp_binding::adapter::call(
            *m_port.client_port(), method,
            Serialized_payload(std::make_shared<std::vector<unsigned char>>(to_bytes(meta))),
            [answer](Call_result const& ended) { answer->set_value(ended); });
        EXPECT_EQ(result.wait_for(binding_testing::PATIENCE), std::future_status::ready);
        return result.get();
    }

private:
    Rport m_port;
};

template <class Interface>
class Client : public Any_client {
public:
    Client() : Any_client(Interface::NAME, Interface::DESCRIPTION) {}
};

class Skeleton_test : public testing::Test {
protected:
    binding_testing::Runtime m_runtime;
};

void expectAnswer(Call_result const& result, std::vector<unsigned char> const& bytes) {
    EXPECT_EQ(result.outcome, Call_outcome::answered);
    EXPECT_EQ(result.return_code, 0);
    EXPECT_EQ(result.payload.bytes(), bytes);
}

TEST_F(Skeleton_test, EveryDataIdentifierAnswersItsReadAndCancel) {
    Data_identifiers::forEach([]<class Interface>() {
        SCOPED_TRACE(Interface::NAME);
        Prompt_service<Interface> sut("1", 1);
        sut.OfferService();
        Client<Interface> client;
        Call_result const read = client.call(READ, {{"a", "b"}});
        Call_result const cancel = client.call(CANCEL, {});
        sut.StopOfferService();

        expectAnswer(read, to_bytes(typename Interface::ReadMethod::Output{}));
        expectAnswer(cancel, {});
        EXPECT_EQ(sut.log, (std::vector<std::string>{"Read 1", "Cancel 0"}));
    });
}

/// A routine whose methods answer at once.
template <class Interface>
class Prompt_routine : public Routine_skeleton<Interface>, public Calls {
public:
    using Routine_skeleton<Interface>::Routine_skeleton;

    eb::com::Future<void> Cancel(Meta const&) override { return done("Cancel"); }
    eb::com::Future<Routine_outcome> RequestResults(Meta const&) override {
        log.push_back("RequestResults");
        return completed(Routine_outcome{0x52});
    }
    eb::com::Future<void> Start(Meta const&) override { return done("Start"); }
    eb::com::Future<void> Stop(Meta const&) override { return done("Stop"); }

private:
    eb::com::Future<void> done(char const* method) {
        log.push_back(method);
        return completed();
    }
};

TEST_F(Skeleton_test, EveryRoutineAnswersItsFourMethods) {
    Routines::forEach([]<class Interface>() {
        SCOPED_TRACE(Interface::NAME);
        Prompt_routine<Interface> sut("1", 1);
        sut.OfferService();
        Client<Interface> client;
        for (unsigned short method = 0; method < 4; ++method) {
            expectAnswer(client.call(method, {}), std::vector<unsigned char>(method == 1 ? 1 : 0, 0x52));
        }
        sut.StopOfferService();
        EXPECT_EQ(sut.log, (std::vector<std::string>{"Cancel", "RequestResults", "Start", "Stop"}));
    });
}

TEST_F(Skeleton_test, ConstructionOfferAndStopAreToldInOrder) {
    Capture const log(ara::log::LogLevel::kInfo);
    {
        Prompt_service<Time> sut("1", 1);
        sut.OfferService();
        sut.StopOfferService();
    }
    std::vector<std::string> texts;
    for (auto const& line : log.messages("BIND")) {
        texts.push_back(line.text);
    }
    std::string const who = R"("2_service_id":{"1_id":"Service_id","string":")" + std::string(Time::NAME) +
                            R"("},"3_instance_id":{"1_id":"Instance_id","2_string":"1"})";
    EXPECT_THAT(texts, testing::ElementsAre(
                           R"({"1_incident":{"1_id":"Service_skeleton_constructed",)" + who +
                               R"(,"4_struct4bytes":{"1_major":2,"2_minor":0},"5_utf8simple":"parallel"}})",
                           R"({"1_incident":{"1_id":"Offer_service",)" + who + "}}",
                           R"({"1_incident":{"1_id":"Stop_offer_service",)" + who + "}}"));
}

TEST_F(Skeleton_test, UnknownInstanceIsRefused) {
    EXPECT_THROW(Prompt_service<Time>("no such instance", 1), ac::com::Invalid_argument_exception);
}

TEST_F(Skeleton_test, CallsReachItOnlyWhileItIsOffered) {
    Prompt_service<Time> sut("1", 1);
    Client<Time> client;
    EXPECT_NE(client.call(READ, {}).outcome, Call_outcome::answered);
    sut.OfferService();
    EXPECT_EQ(client.call(READ, {}).outcome, Call_outcome::answered);
    sut.StopOfferService();
    EXPECT_NE(client.call(READ, {}).outcome, Call_outcome::answered);
    sut.OfferService();
    EXPECT_EQ(client.call(READ, {}).outcome, Call_outcome::answered);
    sut.StopOfferService();
    EXPECT_EQ(sut.log.size(), 2U);
}

TEST_F(Skeleton_test, StopWithoutAnOfferDoesNothing) {
    Prompt_service<Time> sut("1", 1);
    EXPECT_NO_THROW(sut.StopOfferService());
    EXPECT_NO_THROW(sut.StopOfferService());
}

TEST_F(Skeleton_test, StopFromInsideACallDoesNotWaitForThatCall) {
    Prompt_service<Time> sut("1", 1);
    sut.onRead = [&] { sut.StopOfferService(); };
    sut.OfferService();
    EXPECT_EQ(Client<Time>().call(READ, {}).outcome, Call_outcome::answered) << "replies still leave";
    sut.StopOfferService();
}

TEST_F(Skeleton_test, SequentialModeAnswersToo) {
    Prompt_service<Time> sut("1", 2);
    sut.OfferService();
    EXPECT_EQ(Client<Time>().call(READ, {}).return_code, 0);
    sut.StopOfferService();
    EXPECT_THAT(sut.log, testing::ElementsAre("Read 0"));
}

}  // namespace
}  // namespace zvg::services::diag
