// One method on the real runtime: calls go in below the port, as the carriers hand them in.
#include "binding/skeleton/Method_impl.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <deque>

#include <ac/com/runtime/Component_singleton.h>

#include "binding/generated/d_b047.h"
#include "binding/skeleton/Method_processors.h"
#include "binding/testing/Replies.h"
#include "binding/testing/Runtime.h"
#include "platform/com/runtime/Pport_core.h"
#include "platform/com/runtime/Session.h"
#include "platform/log/Memory_target.h"

namespace ac::com::cpp_binding::skeleton {

struct Pport_access {
    static Pport::Core& core(Pport const& port) { return *port.m_core; }
};

namespace {

namespace d_b047 = zvg::services::diag::d_b047;
using ac::dm::types::UDSResponseCodeType;
using ara::log::Capture;
using ara::log::LogLevel;
using binding_testing::Reply;
using binding_testing::Reply_catcher;
using d_b047::Cancel;
using d_b047::Read;
using eb::com::Future;
using eb::com::Promise;
using eb::com::runtime::Call_source;
using eb::com::runtime::Loop;
using eb::com::runtime::Session;
using zvg::services::diag::Meta;
using Payload = std::vector<unsigned char>;
using testing::HasSubstr;

Payload const EMPTY_MAP{0, 0, 0, 0};

template <class M>
class Method_rig : public testing::Test {
protected:
    using Output = typename M::Output;

    Method_rig() {
        use([this](Meta const& meta) { return take(meta); });
    }
    ~Method_rig() override {
        m_dispatcher.reset();
        m_loop->end([] {});
    }

    /// A dispatcher with that implementation as method 1, ready for calls.
    void use(typename Method_impl<M>::Implementation implementation) {
        m_method.reset();
        m_dispatcher.reset();
        auto& pool = runtime::Component_singleton::get_thread_pool_factory().get(1);
        auto processor = std::make_unique<detail::Parallel_method_processor>(pool);
        m_processor = processor.get();
        m_dispatcher = std::make_unique<Method_dispatcher>(m_port, std::move(processor));
        m_method = std::make_unique<Method_impl<M>>(1, std::move(implementation), *m_dispatcher);
        m_dispatcher->start();
    }

    void call(Reply_function const& reply, Payload payload = EMPTY_MAP) {
        Pport_access::core(m_port).deliver(
            1, reply,
            eb::com::runtime::Serialized_payload(std::make_shared<Payload const>(std::move(payload))),
            std::make_shared<Session>(m_loop, m_source, payload.size(), nullptr, [] {}));
    }

    /// The outcome of a call whose promise `complete` works on.
    template <class Complete>
    std::optional<Reply> outcomeOf(Complete const& complete, Payload payload = EMPTY_MAP) {
        Reply_catcher catcher;
        call(catcher.function(), std::move(payload));
        settle();
        if (!m_promises.empty()) {
            complete(m_promises.front());
            m_promises.pop_front();
        }
        return catcher.outcome();
    }

    /// Until every call that was handed in has left its handler.
    void settle() { m_processor->wait(); }

    Future<Output> take(Meta const& meta) {
        std::lock_guard const lock(m_mutex);
        m_metas.push_back(meta);
        return m_promises.emplace_back().get_future();
    }

    binding_testing::Runtime m_runtime;
    Pport m_port{eb::com::runtime::Service_id{
                     std::string(d_b047::DataIdentifier_AuthenticTimeLastClientPackage::NAME)},
                 eb::com::runtime::Instance_id{"1"},
                 eb::com::runtime::Service_interface_description{0x20000}};
    std::mutex m_mutex;
    std::shared_ptr<Loop> const m_loop = std::make_shared<Loop>();
    std::shared_ptr<Call_source> const m_source = std::make_shared<Call_source>();
    std::deque<Promise<Output>> m_promises;  // guarded by m_mutex while calls are in their handlers
    std::vector<Meta> m_metas;               // the same
    std::unique_ptr<Method_dispatcher> m_dispatcher;
    detail::Parallel_method_processor* m_processor = nullptr;  // the dispatcher's
    std::unique_ptr<Method_impl<M>> m_method;
};

using Read_method = Method_rig<Read>;
using Cancel_method = Method_rig<Cancel>;

TEST_F(Read_method, CallWithoutAReplyFunctionNeverReachesTheImplementation) {
    Capture const log;
    call({});
    settle();
    EXPECT_TRUE(m_metas.empty());
    auto const lines = log.messages("BIND");
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(lines[0].level, LogLevel::kError);
    EXPECT_THAT(lines[0].text, HasSubstr(R"("1_id":"Method_call_request_err")"));
    EXPECT_THAT(lines[0].text, HasSubstr(R"("4_method_id":1,"5_error_code":10)"));
}

struct Unreadable {
    char const* name;
    Payload payload;
    char const* text;
};

class Unreadable_request : public Read_method, public testing::WithParamInterface<Unreadable> {};

TEST_P(Unreadable_request, IsAnsweredWith0x80AndNoBytesAndNotCalled) {
    Capture const log;
    EXPECT_EQ(outcomeOf([](auto&) { FAIL(); }, GetParam().payload), (Reply{0x80, {}}));
    EXPECT_TRUE(m_metas.empty());
    auto const lines = log.messages("BIND");
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(lines[0].level, LogLevel::kError);
    EXPECT_THAT(lines[0].text, HasSubstr(R"("1_id":"Method_call_request_process")"));
    EXPECT_THAT(lines[0].text, HasSubstr(GetParam().text));

    EXPECT_EQ(outcomeOf([](auto& promise) { promise.set_value(Read::Output{}); })->code, 0U)
        << "the next good call";
}

INSTANTIATE_TEST_SUITE_P(
    Payloads, Unreadable_request,
    testing::Values(
        Unreadable{"Empty", {}, "Read beyond the end of the data buffer"},
        Unreadable{"HalfALength", {0, 0}, "Read beyond the end of the data buffer"},
        Unreadable{
            "LengthPastThePayload", {0, 0, 0, 9, 0, 0, 0, 0}, "Read beyond the end of the data buffer"},
        Unreadable{"LengthOf4GiB", {0xFF, 0xFF, 0xFF, 0xFF}, "Read beyond the end of the data buffer"},
        Unreadable{"ContentPastTheLength",
                   {0, 0, 0, 8, 0, 0, 0, 0, 0, 0, 0, 2, 'a', 'b'},
                   "Violation of [PRS_SOMEIP_00900]: Record length given by sender is too small."}),
    [](auto const& info) { return info.param.name; });

TEST_F(Read_method, SurplusOfTheLengthFieldIsLeftUnreadAndTheCallGoesOn) {
    Payload const payload{0, 0, 0, 17, 0, 0, 0, 1, 'a', 0, 0, 0, 1, 'b', 9, 9, 9, 9, 9, 9, 9};
    EXPECT_EQ(outcomeOf([](auto& promise) { promise.set_value(Read::Output{}); }, payload)->code, 0U);
    EXPECT_THAT(m_metas, testing::ElementsAre(Meta{{"a", "b"}}));
}

TEST_F(Read_method, ValueIsAnsweredWithCode0AndTheFieldsInOrder) {
    Read::Output output;
    output.field1.fill(1);
    output.field2.fill(2);
    output.field3.fill(3);
    Payload bytes{0, 0, 0, 20};
    bytes.insert(bytes.end(), 20, 1);
    bytes.insert(bytes.end(), {0, 0, 0, 20});
    bytes.insert(bytes.end(), 20, 2);
    bytes.insert(bytes.end(), {0, 0, 0, 2, 3, 3});
    EXPECT_EQ(outcomeOf([&](auto& promise) { promise.set_value(output); }), (Reply{0, bytes}));
}

TEST_F(Read_method, RequestAndReplyAreToldInOrder) {
    Capture const log;
    outcomeOf([](auto& promise) { promise.set_value(Read::Output{}); });
    auto const lines = log.messages("BIND");
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(lines[0].level, LogLevel::kVerbose);
    EXPECT_THAT(lines[0].text, testing::StartsWith(R"({"1_incident":{"1_id":"Method_call_request_process")"));
    EXPECT_THAT(lines[0].text, testing::EndsWith(R"("2_data":{"1_type":"undefined_type"}})"));
    EXPECT_EQ(lines[1].level, LogLevel::kDebug);
    EXPECT_THAT(lines[1].text, testing::StartsWith(R"({"1_incident":{"1_id":"Method_call_response_tx")"));
    EXPECT_THAT(lines[1].text,
                HasSubstr(R"("6_error_code":0},"2_data":{"1_type":"generated_type","2_value":[[0,)"));
}

TEST_F(Read_method, ApplicationErrorIsAnsweredWithItsCodeAndByte) {
    Capture const log;
    auto const failure = std::make_exception_ptr(d_b047::UDSServiceFailed(UDSResponseCodeType{0x26}));
    EXPECT_EQ(outcomeOf([&](auto& promise) { promise.set_exception(failure); }), (Reply{2, {0x26}}));
    EXPECT_THAT(log.messages("BIND").back().text,
                HasSubstr(R"("6_error_code":2},"2_data":{"1_what":)"
                          R"("DataIdentifier_AuthenticTimeLastClientPackage::UDSServiceFailed::2"})"));
}

TEST_F(Read_method, BareResponseCodeIsNotAnswered) {
    auto const failure = std::make_exception_ptr(UDSResponseCodeType{0x13});
    EXPECT_EQ(outcomeOf([&](auto& promise) { promise.set_exception(failure); }), std::nullopt);
}

TEST_F(Read_method, OtherExceptionIsNotAnswered) {
    auto const failure = std::make_exception_ptr(std::runtime_error("mine"));
    EXPECT_EQ(outcomeOf([&](auto& promise) { promise.set_exception(failure); }), std::nullopt);
}

TEST_F(Read_method, BrokenPromiseIsNotAnswered) {
    EXPECT_EQ(outcomeOf([](auto& promise) { promise = Promise<Read::Output>(); }), std::nullopt);
}

TEST_F(Read_method, ImplementationThatThrowsIsToldAtLevel1AndNotAnswered) {
    Capture const log;
    use([](Meta const&) -> Future<Read::Output> { throw std::runtime_error("mine"); });
    EXPECT_EQ(outcomeOf([](auto&) {}), std::nullopt);
    auto const lines = log.messages("BIND");
    ASSERT_EQ(lines.size(), 2U) << "the request, and that it ended with an exception";
    EXPECT_EQ(lines[1].level, LogLevel::kFatal);
    EXPECT_THAT(lines[1].text, HasSubstr("Method_call_request_exception"));
    EXPECT_THAT(log.messages("ACOM").back().text, HasSubstr("mine"))
        << "the exception went on to the runtime";
}

TEST_F(Read_method, EmptyImplementationEndsInBadFunctionCall) {
    Capture const log;
    use({});
    EXPECT_EQ(outcomeOf([](auto&) {}), std::nullopt);
    EXPECT_THAT(log.messages("ACOM").back().text, HasSubstr("bad_function_call"));
}

TEST_F(Read_method, FutureWithoutAStateIsNotAnswered) {
    use([](Meta const&) { return Future<Read::Output>(); });
    EXPECT_EQ(outcomeOf([](auto&) {}), std::nullopt);
}

TEST_F(Read_method, ReplyLeavesAfterTheMethodHasGone) {
    Reply_catcher catcher;
    call(catcher.function());
    settle();
    m_method.reset();
    m_dispatcher.reset();
    m_promises.front().set_value(Read::Output{});
    EXPECT_EQ(catcher.outcome()->code, 0U);
}

TEST_F(Read_method, PromiseMayBreakAfterTheMethodHasGone) {
    Reply_catcher catcher;
    call(catcher.function());
    settle();
    m_method.reset();
    m_dispatcher.reset();
    m_promises.clear();
    EXPECT_EQ(catcher.outcome(), std::nullopt);
}

TEST_F(Read_method, NextReadFromInsideAReplyCausesNoSecondReply) {
    // As a client does that reads again at once: the new call replaces the promise whose reply is under way.
    auto current = std::make_unique<Promise<Read::Output>>();
    use([&](Meta const&) {
        current = std::make_unique<Promise<Read::Output>>();
        return current->get_future();
    });
    Reply_catcher second;
    std::atomic<int> replies{0};
    Reply_catcher first;
    call([&, inner = first.function()](unsigned char code, eb::com::runtime::Serialized_payload payload) {
        ++replies;
        call(second.function());
        settle();
        inner(code, std::move(payload));
    });
    settle();
    current->set_value(Read::Output{});
    EXPECT_EQ(first.allReplies().size(), 1U);
    EXPECT_EQ(replies, 1);
    current->set_value(Read::Output{});
    EXPECT_EQ(second.allReplies().size(), 1U);
}

TEST_F(Read_method, OlderReadOfTwoEndsWithoutAReply) {
    Reply_catcher older;
    Reply_catcher newer;
    call(older.function());
    settle();
    call(newer.function());
    settle();
    m_promises.front() = std::move(m_promises.back());
    m_promises.pop_back();
    EXPECT_EQ(older.outcome(), std::nullopt);
    m_promises.front().set_value(Read::Output{});
    EXPECT_EQ(newer.outcome()->code, 0U);
}

TEST_F(Read_method, RunsOnAThreadOfThePool) {
    std::thread::id ranOn;
    use([&](Meta const& meta) {
        ranOn = std::this_thread::get_id();
        return take(meta);
    });
    outcomeOf([](auto& promise) { promise.set_value(Read::Output{}); });
    EXPECT_NE(ranOn, std::thread::id());
    EXPECT_NE(ranOn, std::this_thread::get_id());
}

TEST_F(Cancel_method, IsAnsweredWithoutBytes) {
    Capture const log;
    EXPECT_EQ(outcomeOf([](auto& promise) { promise.set_value(); }), (Reply{0, {}}));
    EXPECT_THAT(log.messages("BIND").back().text, testing::EndsWith(R"("6_error_code":0}})"));
}

TEST_F(Cancel_method, ExceptionIsNotAnswered) {
    auto const failure = std::make_exception_ptr(std::runtime_error("mine"));
    EXPECT_EQ(outcomeOf([&](auto& promise) { promise.set_exception(failure); }), std::nullopt);
}

}  // namespace
}  // namespace ac::com::cpp_binding::skeleton
