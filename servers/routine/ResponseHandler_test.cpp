// Handlers by themselves: one request, its thread and its ending; and the list that keeps them.
#include <stdexcept>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "servers/routine/Servers.h"
#include "servers/routine/test/Routines.h"

namespace routine_test {
namespace {

using ara::log::LogLevel;
using std::chrono::hours;
using std::chrono::milliseconds;
using testing::ElementsAre;
using testing::IsEmpty;
using namespace zvg::val::diag_ara::services::initializeparameters::methods;
namespace common = zvg::val::diag_ara::common;
namespace services = zvg::val::diag_ara::services;

using Record = tDiagmgrJavaRoutineRespds;
using Output = zvg::services::diag::Routine_outcome;

constexpr LogLevel DETAIL = LogLevel::kInfo;
constexpr std::uint32_t TRANSACTION = 7;
constexpr char const* START_SOURCE = "InitializeParameters::StartResponseHandler::";
constexpr char const* RESULTS_SOURCE = "InitializeParameters::RequestResultsResponseHandler::";

Record answer(tControlParameter controlParameter, unsigned status = 0, unsigned result = 0) {
    Record record{};
    record.routineId = tDiagMgrRoutineId{310};
    record.transactionId = TRANSACTION;
    record.controlParameter = controlParameter;
    record.routineStatus = static_cast<tRoutineStatus>(status);
    record.routineResult = static_cast<tRoutineResult>(result);
    return record;
}
Record results(unsigned status, unsigned result) {
    return answer(eControlParameterRequestResults, status, result);
}
Record const STARTED = answer(eControlParameterStart);

/// What the future gives, or fails the test.
template <class T>
T await(eb::com::Future<T>& future) {
    if (future.wait_for(PATIENCE) != std::future_status::ready) throw std::runtime_error("no result in time");
    return future.get();
}
std::uint8_t byteOf(RequestResultsResponseHandler& handler) {
    auto future = handler.getResult();
    return await(future).field1;
}

/// Handlers write to the log that a registered library has.
class Handler : public Vehicle {
protected:
    /// Waits for the end of the task, so that all its lines are there.
    std::vector<Line> linesAfter(common::PendingRequest<Record> const& handler, std::string const& source) {
        EXPECT_TRUE(eventually([&] { return !handler.isPending(); }));
        return linesOf(source);
    }
    static std::string text(unsigned controlParameter, std::string const& ending) {
        return "Response (routId: 310, trnsId: 7, ctrlPar: " + std::to_string(controlParameter) + ending;
    }
};

TEST_F(Handler, MatchingResponseCompletesAVoidRequest) {
    StartResponseHandler sut(TRANSACTION, hours(1));
    EXPECT_TRUE(sut.isPending());
    auto future = sut.getResult();
    EXPECT_TRUE(sut.handle(answer(eControlParameterStart, 1, 2)));
    await(future);
    EXPECT_THAT(linesAfter(sut, START_SOURCE),
                ElementsAre(Line{DETAIL, "handlerTask", text(1, ") received, status: 1, result: 2!")}));
}

TEST_F(Handler, MatchingResponseGivesTheOutcomeInOneByte) {
    RequestResultsResponseHandler sut(TRANSACTION, hours(1));
    EXPECT_TRUE(sut.handle(results(5, 2)));
    EXPECT_EQ(byteOf(sut), 0x52);
    EXPECT_THAT(linesAfter(sut, RESULTS_SOURCE),
                ElementsAre(Line{DETAIL, "handlerTask", text(3, ") received, status: 5, result: 2!")}));
}

TEST_F(Handler, StatusAndResultUpToFifteenArePacked) {
    for (unsigned status = 0; status < 16; ++status) {
        for (unsigned result = 0; result < 16; ++result) {
            RequestResultsResponseHandler sut(TRANSACTION, hours(1));
            EXPECT_TRUE(sut.handle(results(status, result)));
            ASSERT_EQ(byteOf(sut), status * 16 + result);
        }
    }
}

TEST_F(Handler, StatusOrResultFromSixteenOnIsAFailure) {
    for (auto const& [status, result] : std::vector<std::pair<unsigned, unsigned>>{
             {16, 0}, {19, 2}, {0, 16}, {16, 16}, {15, 16}, {0xFFFFFFFF, 0}, {1, 0x100}}) {
        RequestResultsResponseHandler sut(TRANSACTION, hours(1));
        linesOf("");
        EXPECT_TRUE(sut.handle(results(status, result)));
        EXPECT_EQ(byteOf(sut), 0x20);
        EXPECT_THAT(linesAfter(sut, RESULTS_SOURCE),
                    ElementsAre(Line{
                        LogLevel::kError, "handlerTask",
                        text(3, ") received with an unexpected status/result, status: " +
                                    std::to_string(status) + ", result: " + std::to_string(result) + "!")}));
    }
}

TEST_F(Handler, VoidRequestDoesNotLookAtStatusAndResult) {
    StartResponseHandler sut(TRANSACTION, hours(1));
    auto future = sut.getResult();
    EXPECT_TRUE(sut.handle(answer(eControlParameterStart, 19, 77)));
    await(future);
    EXPECT_THAT(linesAfter(sut, START_SOURCE),
                ElementsAre(Line{DETAIL, "handlerTask", text(1, ") received, status: 19, result: 77!")}));
}

TEST_F(Handler, ResponseThatDiffersInAnyOfTheThreeIdsIsNotTaken) {
    RequestResultsResponseHandler sut(TRANSACTION, hours(1));
    Record routine = results(0, 0);
    routine.routineId = tDiagMgrRoutineId{311};
    Record transaction = results(0, 0);
    transaction.transactionId = TRANSACTION + 1;
    Record complement = results(0, 0);
    complement.routineId = static_cast<tDiagMgrRoutineId>(~310U);
    complement.transactionId = ~TRANSACTION;
    complement.controlParameter = static_cast<tControlParameter>(~3U);
    for (Record const& foreign : {routine, transaction, STARTED, complement})
        EXPECT_FALSE(sut.handle(foreign));
    EXPECT_TRUE(sut.isPending());
    EXPECT_TRUE(sut.handle(results(1, 1)));
    EXPECT_EQ(byteOf(sut), 0x11);
}

TEST_F(Handler, TakesOneResponseOnly) {
    RequestResultsResponseHandler sut(TRANSACTION, hours(1));
    EXPECT_TRUE(sut.handle(results(1, 1)));
    EXPECT_FALSE(sut.handle(results(2, 2)));
    EXPECT_EQ(byteOf(sut), 0x11);
    EXPECT_FALSE(sut.handle(results(2, 2)));
}

TEST_F(Handler, CancelEndsTheWaitAtOnce) {
    StartResponseHandler started(TRANSACTION, hours(1));
    RequestResultsResponseHandler asked(TRANSACTION, hours(1));
    auto future = started.getResult();
    started.cancel();
    asked.cancel();
    await(future);
    EXPECT_EQ(byteOf(asked), 0x20);
    EXPECT_THAT(linesAfter(started, START_SOURCE),
                ElementsAre(Line{LogLevel::kError, "handlerTask", text(1, ") cancelled!")}));
}

TEST_F(Handler, CancelledRequestOfResultsTellsIt) {
    RequestResultsResponseHandler sut(TRANSACTION, hours(1));
    sut.cancel();
    sut.cancel();
    EXPECT_THAT(linesAfter(sut, RESULTS_SOURCE),
                ElementsAre(Line{LogLevel::kError, "handlerTask", text(3, ") cancelled!")}));
}

TEST_F(Handler, ResponseAfterACancelIsNotTaken) {
    RequestResultsResponseHandler sut(TRANSACTION, hours(1));
    sut.cancel();
    EXPECT_FALSE(sut.handle(results(1, 1)));
    EXPECT_EQ(byteOf(sut), 0x20);
}

TEST_F(Handler, CancelAfterAResponseChangesNothing) {
    RequestResultsResponseHandler sut(TRANSACTION, hours(1));
    EXPECT_TRUE(sut.handle(results(1, 1)));
    sut.cancel();
    EXPECT_EQ(byteOf(sut), 0x11);
}

TEST_F(Handler, TimeOutEndsTheWait) {
    StartResponseHandler started(TRANSACTION, milliseconds(1));
    RequestResultsResponseHandler asked(TRANSACTION, milliseconds(1));
    auto future = started.getResult();
    await(future);
    EXPECT_EQ(byteOf(asked), 0x20);
    EXPECT_TRUE(eventually([&] { return !started.isPending() && !asked.isPending(); }));
    auto const lines = linesOf("InitializeParameters::");
    EXPECT_THAT(
        lines, testing::UnorderedElementsAre(Line{LogLevel::kError, "handlerTask", text(1, ") timed out!")},
                                             Line{LogLevel::kError, "handlerTask", text(3, ") timed out!")}));
}

TEST_F(Handler, ResponseAfterTheTimeOutIsTakenAndChangesNothing) {
    RequestResultsResponseHandler sut(TRANSACTION, milliseconds(1));
    EXPECT_EQ(byteOf(sut), 0x20);
    linesAfter(sut, RESULTS_SOURCE);
    EXPECT_TRUE(sut.handle(results(1, 1)));
    EXPECT_FALSE(sut.handle(results(1, 1)));
    EXPECT_FALSE(sut.isPending());
    EXPECT_THAT(linesOf(RESULTS_SOURCE), IsEmpty());
}

TEST_F(Handler, StopCancelsAndWaits) {
    RequestResultsResponseHandler sut(TRANSACTION, hours(1));
    sut.stop();
    EXPECT_FALSE(sut.isPending());
    EXPECT_EQ(byteOf(sut), 0x20);
    sut.stop();
}

TEST_F(Handler, DestructionOfAWaitingOneAnswersItsClient) {
    eb::com::Future<void> started;
    eb::com::Future<Output> asked;
    {
        StartResponseHandler start(TRANSACTION, hours(1));
        RequestResultsResponseHandler request(TRANSACTION, hours(1));
        started = start.getResult();
        asked = request.getResult();
    }
    EXPECT_EQ(started.wait_for(milliseconds(0)), std::future_status::ready);
    ASSERT_EQ(asked.wait_for(milliseconds(0)), std::future_status::ready);
    EXPECT_EQ(asked.get().field1, 0x20);
}

/// A handler whose task fails, which none of the product's does: as soon as it has been found pending.
class Failing : public common::ResponseHandler<Record, void> {
public:
    Failing() : ResponseHandler("Failing::") { start<Failing>(hours(1)); }
    ~Failing() override { end(); }
    void cancel() override { setResponseIn(Record{}); }
    bool isPending() const override {
        bool const pending = ResponseHandler::isPending();
        if (pending) m_found.set_value();
        return pending;
    }

private:
    friend class common::ResponseHandler<Record, void>;
    void handlerTask(milliseconds timeout) override {
        responseIn().wait_for(timeout);
        m_found.get_future().wait();
        throw std::domain_error("no good");
    }
    bool isResponseValid(Record const&) const override { return true; }

    mutable std::promise<void> m_found;
};

TEST_F(Handler, ExceptionOfTheTaskComesOutOfStop) {
    Failing sut;
    EXPECT_THROW(sut.stop(), std::domain_error);
    EXPECT_FALSE(sut.isPending());
}

TEST_F(Handler, ExceptionOfTheTaskStaysInsideTheDestructor) {
    eb::com::Future<void> future;
    {
        Failing sut;
        future = sut.getResult();
    }
    EXPECT_THROW(await(future), std::future_error);
}

TEST_F(Handler, OfEachOperationHasItsNameItsRoutineAndItsControlParameter) {
    auto const check = [this](Routine const& routine, std::string const& handlerName,
                              unsigned controlParameter, common::PendingRequest<Record>& handler) {
        SCOPED_TRACE(routine.name + handlerName);
        std::string const source = routine.name + "::" + handlerName + "::";
        handler.cancel();
        EXPECT_THAT(linesAfter(handler, source),
                    ElementsAre(Line{LogLevel::kError, "handlerTask",
                                     "Response (" +
                                         handlerText({routine.id, TRANSACTION,
                                                      static_cast<std::uint8_t>(controlParameter)}) +
                                         ") cancelled!"}));
    };
    auto const checkAll = [&]<class Start, class Stop, class Results, class Cancel>(Routine const& routine) {
        Start start(TRANSACTION, hours(1));
        check(routine, "StartResponseHandler", 1, start);
        Stop stop(TRANSACTION, hours(1));
        check(routine, "StopResponseHandler", 2, stop);
        Results results(TRANSACTION, hours(1));
        check(routine, "RequestResultsResponseHandler", 3, results);
        Cancel cancel(TRANSACTION, hours(1));
        check(routine, "CancelResponseHandler", 4, cancel);
    };
    namespace rebuild = services::rebuildparameters::methods;
    namespace transfer = services::transferparametersfromatn::methods;
    namespace store = services::storeparametersinatn::methods;
    checkAll.operator()<rebuild::StartResponseHandler, rebuild::StopResponseHandler,
                        rebuild::RequestResultsResponseHandler, rebuild::CancelResponseHandler>(
        routines()[0]);
    checkAll.operator()<StartResponseHandler, StopResponseHandler, RequestResultsResponseHandler,
                        CancelResponseHandler>(routines()[1]);
    checkAll.operator()<transfer::StartResponseHandler, transfer::StopResponseHandler,
                        transfer::RequestResultsResponseHandler, transfer::CancelResponseHandler>(
        routines()[2]);
    checkAll.operator()<store::StartResponseHandler, store::StopResponseHandler,
                        store::RequestResultsResponseHandler, store::CancelResponseHandler>(routines()[3]);
}

/// A handler that takes what it is told to.
class Scripted : public common::PendingRequest<Record> {
public:
    explicit Scripted(std::vector<std::string>& events, std::string name)
        : m_events(events), m_name(std::move(name)) {}
    ~Scripted() override { m_events.push_back("~" + m_name); }
    bool handle(Record const&) override {
        m_events.push_back(m_name);
        return takes;
    }
    void cancel() override { m_events.push_back("cancel " + m_name); }
    bool isPending() const override { return pending; }

    bool takes = false;
    bool pending = true;

private:
    std::vector<std::string>& m_events;
    std::string m_name;
};

class List : public testing::Test {
protected:
    std::shared_ptr<Scripted> add(std::string const& name) {
        auto one = std::make_shared<Scripted>(events, name);
        EXPECT_TRUE(sut.addResponseHandler(one));
        return one;
    }
    std::vector<std::string> events;
    common::ResponseHandlerList<Record> sut{3};
};

TEST_F(List, WithoutHandlersTakesNothing) {
    EXPECT_FALSE(sut.handleResponse(Record{}));
}

TEST_F(List, OffersAResponseOldestFirstUntilOneTakesIt) {
    add("a");
    auto const b = add("b");
    add("c");
    EXPECT_FALSE(sut.handleResponse(Record{}));
    EXPECT_THAT(events, ElementsAre("a", "b", "c"));
    events.clear();
    b->takes = true;
    EXPECT_TRUE(sut.handleResponse(Record{}));
    EXPECT_THAT(events, ElementsAre("a", "b"));
}

TEST_F(List, RefusesOneMoreThanItsCapacity) {
    add("a");
    add("b");
    add("c");
    EXPECT_FALSE(sut.addResponseHandler(std::make_shared<Scripted>(events, "d")));
    EXPECT_THAT(events, ElementsAre("~d"));
    EXPECT_FALSE(sut.handleResponse(Record{}));
    EXPECT_THAT(events, ElementsAre("~d", "a", "b", "c"));
}

TEST_F(List, CollectsFinishedOnesOnlyWhenTheNextIsAddedAndKeepsTheOrder) {
    add("a");
    add("b")->pending = false;
    add("c")->pending = false;
    EXPECT_FALSE(sut.handleResponse(Record{}));
    EXPECT_THAT(events, ElementsAre("~b", "a", "c")) << "b went when c was added";
    events.clear();
    add("d");
    EXPECT_THAT(events, ElementsAre("~c"));
    events.clear();
    add("e");
    EXPECT_FALSE(sut.handleResponse(Record{}));
    EXPECT_THAT(events, ElementsAre("a", "d", "e"));
}

TEST_F(List, RefusalCollectsFinishedOnesFirst) {
    auto const a = add("a");
    add("b");
    add("c");
    a->pending = false;
    EXPECT_TRUE(sut.addResponseHandler(std::make_shared<Scripted>(events, "d")));
}

TEST_F(List, CancelsAllBeforeItWaitsForAny) {
    add("a");
    add("b");
    sut.cancelAll();
    EXPECT_THAT(events, ElementsAre("cancel a", "cancel b", "~a", "~b"));
    EXPECT_FALSE(sut.handleResponse(Record{}));
}

TEST_F(Handler, OfTheSameIdsTakeOneResponseEach) {
    common::ResponseHandlerList<Record> list(2);
    auto const older = std::make_shared<RequestResultsResponseHandler>(TRANSACTION, hours(1));
    auto const newer = std::make_shared<RequestResultsResponseHandler>(TRANSACTION, hours(1));
    ASSERT_TRUE(list.addResponseHandler(older));
    ASSERT_TRUE(list.addResponseHandler(newer));
    EXPECT_TRUE(list.handleResponse(results(1, 0)));
    EXPECT_TRUE(list.handleResponse(results(2, 0)));
    EXPECT_FALSE(list.handleResponse(results(3, 0)));
    EXPECT_EQ(byteOf(*older), 0x10);
    EXPECT_EQ(byteOf(*newer), 0x20);
}

}  // namespace
}  // namespace routine_test
