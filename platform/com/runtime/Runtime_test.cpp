// The life of the runtime, its ports and dispatchers, through the public interface.
#include <dirent.h>
#include <gtest/gtest.h>

#include <array>
#include <thread>

#include <ac/com/Exceptions.h>
#include <ac/com/cpp_binding/get_shared_payload.h>
#include <ac/com/cpp_binding/logger.h>
#include <ac/com/cpp_binding/proxy/Rport.h>
#include <ac/com/cpp_binding/skeleton/Field_handler.h>
#include <ac/com/cpp_binding/skeleton/Method_impl_base.h>
#include <ara/com/logger.h>

#include "binding/adapter/Platform_adapter.h"
#include "platform/com/runtime/Answers.h"
#include "platform/com/runtime/Counters.h"
#include "platform/com/testing/Await.h"
#include "platform/com/testing/Echo_service.h"
#include "platform/com/testing/Raw_socket.h"

namespace eb::com::runtime {
namespace {

using namespace testing;
using ac::com::Infrastructure_exception;
using ac::com::Invalid_argument_exception;
using ac::com::cpp_binding::skeleton::Method_call_id;
using ac::com::cpp_binding::skeleton::Method_dispatcher;
using ac::com::cpp_binding::skeleton::Pport;
using ac::com::cpp_binding::skeleton::Reply_function;
using ac::com::runtime::Component_singleton;

std::size_t entriesOf(char const* folder) {
    DIR* const directory = ::opendir(folder);
    std::size_t count = 0;
    while (::readdir(directory) != nullptr) ++count;
    ::closedir(directory);
    return count;
}
std::size_t threads() {
    return entriesOf("/proc/self/task");
}
std::size_t descriptors() {
    return entriesOf("/proc/self/fd");
}

TEST(Runtime_test, WithoutARuntimeEverythingIsRefused) {
    EXPECT_THROW(Component_singleton::get_thread_pool_factory(), Infrastructure_exception);
    EXPECT_THROW(Component_singleton::get_service_finder(), Infrastructure_exception);
    EXPECT_THROW(Pport({"test::Tcp"}, {"1"}, {0x20000}), Infrastructure_exception);
}

TEST(Runtime_test, OwnersShareOneRuntimeThatEndsWithTheLast) {
    auto first = makeRuntime(manifest(freeAddress()));
    auto second = std::make_unique<Component_singleton>(false, "another");
    Pport const port({"test::Tcp"}, {"1"}, {0x20000});  // the first one's manifest

    first.reset();
    EXPECT_NO_THROW(Component_singleton::get_service_finder());
    second.reset();
    EXPECT_THROW(Component_singleton::get_service_finder(), Infrastructure_exception);
}

TEST(Runtime_test, CyclesLeaveNoThreadAndNoDescriptor) {
    auto const cycle = [] {
        auto const runtime = makeRuntime(manifest(freeAddress()));
        Component_singleton::get_thread_pool_factory().get(1);
        Echo_service const service("test::Tcp");
    };
    cycle();
    std::size_t const threadsBefore = threads();
    std::size_t const descriptorsBefore = descriptors();
    for (int count = 0; count < 50; ++count) cycle();
    EXPECT_TRUE(eventually([&] { return threads() == threadsBefore; }));
    EXPECT_EQ(descriptors(), descriptorsBefore);
    EXPECT_EQ(counters().connections, 0);
}

TEST(Runtime_test, PoolOfAClassIsAlwaysTheSame) {
    auto const runtime = makeRuntime(manifest(freeAddress()));
    auto& factory = Component_singleton::get_thread_pool_factory();
    EXPECT_EQ(&factory.get(1), &factory.get(1));
    EXPECT_NE(&factory.get(1), &factory.get(2));
    EXPECT_GT(factory.get(1).num_threads(), 1U);
}

TEST(Runtime_test, AnswerFunctionThatNeverReturnsDoesNotHoldUpTheEnd) {
    auto runtime = makeRuntime(manifest(freeAddress()));
    auto service = std::make_unique<Echo_service>("test::Tcp");
    ac::com::cpp_binding::proxy::Rport const client({{"test::Tcp"}, {"1"}}, {0x20000});
    auto const entered = std::make_shared<Mailbox<bool>>();
    auto const release = std::make_shared<Mailbox<bool>>();
    auto const left = std::make_shared<Mailbox<bool>>();
    ac::com::cpp_binding::adapter::call(*client.client_port(), ECHO, {}, [=](Call_result const&) {
        entered->put(true);
        release->take();
        left->put(true);
    });
    ASSERT_TRUE(entered->take());

    service.reset();
    auto const start = std::chrono::steady_clock::now();
    runtime.reset();
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));

    release->put(true);
    EXPECT_TRUE(left->take());
}

TEST(Runtime_test, LastOwnerMayEndInsideAnAnswer) {
    auto runtime = makeRuntime(manifest(freeAddress()));
    Mailbox<bool> done;
    auto const client = std::make_unique<ac::com::cpp_binding::proxy::Rport>(
        Service_handle{{"test::Tcp"}, {"1"}}, Service_interface_description{0x20000});
    ac::com::cpp_binding::adapter::call(*client->client_port(), ECHO, {}, [&](Call_result const&) {
        runtime.reset();
        done.put(true);
    });
    EXPECT_TRUE(done.take());
}

TEST(Runtime_test, UnknownInterfaceAndInstanceAreNamed) {
    auto const runtime = makeRuntime(manifest(freeAddress()));
    try {
        Pport const port({"test::Nobody"}, {"7"}, {0x20000});
        FAIL();
    } catch (Invalid_argument_exception const& exception) {
        EXPECT_NE(std::string(exception.what()).find("has no interface test::Nobody with instance 7"),
                  std::string::npos)
            << exception.what();
    }
    EXPECT_THROW(ac::com::cpp_binding::proxy::Rport({{"test::Tcp"}, {"2"}}, {0x20000}),
                 Invalid_argument_exception);
}

TEST(Runtime_test, AddressInUseIsToldAndCanBeTriedAgain) {
    Address const address = freeAddress();
    auto const runtime = makeRuntime(manifest(address));
    Pport port({"test::Tcp"}, {"1"}, {0x20000});
    {
        Raw_listener const other(address);
        try {
            port.start_offer();
            FAIL();
        } catch (Invalid_argument_exception const& exception) {
            EXPECT_EQ(std::string(exception.what()),
                      "test::Tcp can't be offered at tcp " + address.text() + ": Address already in use");
        }
    }
    EXPECT_NO_THROW(port.start_offer());
    EXPECT_NO_THROW(port.start_offer());
    port.stop_offer();
    port.stop_offer();
}

TEST(Runtime_test, OneInstanceIsOfferedOnce) {
    auto const runtime = makeRuntime(manifest(freeAddress()));
    Pport first({"test::Tcp"}, {"1"}, {0x20000});
    Pport second({"test::Tcp"}, {"1"}, {0x20000});
    first.start_offer();
    EXPECT_THROW(second.start_offer(), Invalid_argument_exception);
    first.stop_offer();
    EXPECT_NO_THROW(second.start_offer());
}

TEST(Runtime_test, PortsMayOutliveTheRuntime) {
    auto runtime = makeRuntime(manifest(freeAddress()));
    Pport port({"test::Tcp"}, {"1"}, {0x20000});
    port.start_offer();
    runtime.reset();
    EXPECT_THROW(port.start_offer(), Infrastructure_exception);
    port.stop_offer();
}

TEST(Runtime_test, SearchTellsTheDeployedInstance) {
    auto const runtime = makeRuntime(manifest(freeAddress()));
    Mailbox<std::vector<Service_handle>> found;
    auto const search = Component_singleton::get_service_finder().subscribe(
        {"test::Tcp"}, {"1"}, [&](std::vector<Service_handle> const& handles) { found.put(handles); });
    EXPECT_EQ(found.take().value(), (std::vector<Service_handle>{{{"test::Tcp"}, {"1"}}}));

    auto const none = Component_singleton::get_service_finder().subscribe(
        {"test::Tcp"}, {"9"}, [&](std::vector<Service_handle> const& handles) { found.put(handles); });
    EXPECT_TRUE(found.take().value().empty());
}

TEST(Runtime_test, SearchThatEndedIsNotTold) {
    auto const runtime = makeRuntime(manifest(freeAddress()));
    Mailbox<bool> blocked;
    Mailbox<bool> go;
    auto& finder = Component_singleton::get_service_finder();
    auto const first = finder.subscribe({"test::Tcp"}, {"1"}, [&](auto const&) {
        blocked.put(true);
        go.take();
    });
    ASSERT_TRUE(blocked.take());
    std::atomic<bool> told{false};
    auto second = finder.subscribe({"test::Tcp"}, {"1"}, [&](auto const&) { told = true; });
    second.reset();
    go.put(true);
    Mailbox<bool> last;
    auto const third = finder.subscribe({"test::Tcp"}, {"1"}, [&](auto const&) { last.put(true); });
    ASSERT_TRUE(last.take());
    EXPECT_FALSE(told);
}

/// A dispatcher whose method blocks until the test lets it go.
class Dispatcher_test : public ::testing::Test {
protected:
    Dispatcher_test() {
        sut->add_method(ECHO, [this](Method_call_id, Reply_function const& reply, Serialized_payload const&) {
            m_entered.put(true);
            m_go.take();
            if (m_inside) m_inside();
            ++m_left;
            reply(0, {});
        });
        sut->start();
        m_port.start_offer();
    }
    ~Dispatcher_test() override { m_port.stop_offer(); }

    void call(std::uint16_t session) { m_peer->send(frame(request(TCP_SERVICE, wire(ECHO), session))); }

    Address const m_address = freeAddress();
    std::unique_ptr<Component_singleton> m_runtime = makeRuntime(manifest(m_address));
    Pport m_port{{"test::Tcp"}, {"1"}, {0x20000}};
    Mailbox<bool> m_entered;
    Mailbox<bool> m_go;
    std::function<void()> m_inside;
    std::atomic<int> m_left{0};
    std::unique_ptr<Method_dispatcher> sut =
        std::make_unique<Method_dispatcher>(m_port, std::make_unique<Worker>());
    std::optional<Raw_socket> m_peer;
};

TEST_F(Dispatcher_test, StopWaitsForTheHandlerAndRefusesWhatWaits) {
    m_peer.emplace(Endpoint{Transport::tcp, m_address});
    call(1);
    call(2);
    ASSERT_TRUE(m_entered.take());

    std::thread stopper([this] { sut->stop(); });
    std::uint16_t last = 2;
    // What is called before stop began waits behind the handler; what is called after it is refused at once.
    EXPECT_TRUE(eventually([&] {
        call(++last);
        return !m_peer->isSilent();
    }));
    EXPECT_EQ(m_left, 0);
    m_go.put(true);
    stopper.join();

    EXPECT_EQ(m_left, 1);
    EXPECT_EQ(m_entered.count(), 1);
    for (int count = 0; count < last; ++count) {
        auto const answer = m_peer->read();
        ASSERT_TRUE(answer);
        EXPECT_EQ(answer->header.code, answer->header.session == 1 ? someip::E_OK : someip::E_NOT_READY)
            << "a reply still leaves after stop, and whatever waited is refused";
    }
}

TEST_F(Dispatcher_test, HandlerMayStopItsOwnDispatcher) {
    m_inside = [this] { sut->stop(); };
    m_peer.emplace(Endpoint{Transport::tcp, m_address});
    call(1);
    m_go.put(true);
    EXPECT_EQ(m_peer->read()->header.code, someip::E_OK);
}

TEST_F(Dispatcher_test, CallAfterTheDispatcherHasGoneIsNotReady) {
    sut.reset();
    m_peer.emplace(Endpoint{Transport::tcp, m_address});
    call(1);
    EXPECT_EQ(m_peer->read()->header.code, someip::E_NOT_READY);
}

TEST_F(Dispatcher_test, MethodsAreRegisteredOnceAndBeforeStart) {
    auto const nothing = [](Method_call_id, Reply_function const&, Serialized_payload const&) {};
    EXPECT_THROW(sut->add_method(FAIL, nothing), Invalid_argument_exception);
    sut->stop();
    EXPECT_THROW(sut->add_method(ECHO, nothing), Invalid_argument_exception);
}

class Untyped_method : public ac::com::cpp_binding::skeleton::Method_impl_base {
public:
    using Method_impl_base::Method_impl_base;
};

TEST_F(Dispatcher_test, UntypedMethodRegistersItself) {
    sut->stop();
    Mailbox<bool> called;
    Untyped_method const method(
        FAIL,
        [&](Method_call_id, Reply_function const& reply, Serialized_payload const&) {
            Untyped_method::reply_method(reply, nullptr, 0);
            called.put(true);
        },
        *sut);
    EXPECT_EQ(method.method_id(), FAIL);
    sut->start();
    m_peer.emplace(Endpoint{Transport::tcp, m_address});
    m_peer->send(frame(request(TCP_SERVICE, wire(FAIL))));
    EXPECT_TRUE(called.take());
    EXPECT_TRUE(m_peer->read()->payload.bytes().empty());
    sut->stop();
}

TEST(Runtime_test, ReplyWithoutAReplyFunctionIsNothing) {
    EXPECT_NO_THROW(Untyped_method::reply_method({}, nullptr, 0));
}

TEST(Runtime_test, SharedPayloadIsEmptyWithRoom) {
    auto const payload = ac::com::cpp_binding::get_shared_payload(42);
    EXPECT_TRUE(payload->empty());
    EXPECT_GE(payload->capacity(), 42U);
}

TEST(Runtime_test, ServiceWithoutFieldsPassesItsChecks) {
    EXPECT_NO_THROW(ac::com::cpp_binding::skeleton::Field_handler().run_offer_cond_checks());
}

TEST(Runtime_test, LoggersHaveContextsOfTheirOwn) {
    EXPECT_NE(ac::com::cpp_binding::logger().contextId(), ara::com::logger().contextId());
}

TEST(Answers_test, TaskAfterTheEndIsRefused) {
    Answers sut;
    EXPECT_TRUE(sut.end(std::chrono::seconds(10)));
    EXPECT_FALSE(sut.post([] {}));
    EXPECT_TRUE(sut.end(std::chrono::seconds(10)));
}

TEST(Answers_test, EndRunsWhatWasPosted) {
    Answers sut;
    std::atomic<int> ran{0};
    for (int count = 0; count < 100; ++count) sut.post([&] { ++ran; });
    EXPECT_TRUE(sut.end(std::chrono::seconds(10)));
    EXPECT_EQ(ran, 100);
}

}  // namespace
}  // namespace eb::com::runtime
