// Operations that meet by chance, many times, and clients that read without a pause: no reply is lost.
#include <atomic>
#include <barrier>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <optional>
#include <random>
#include <thread>

#include <gtest/gtest.h>

#include "servers/did/test/OneCore.h"
#include "servers/did/test/Vehicle.h"
#include "tests/support/Patience.h"

namespace did_test {
namespace {

// So many rounds; DIAG_ARA_ROUNDS asks for more.
int rounds(int few) {
    char const* const wanted = std::getenv("DIAG_ARA_ROUNDS");
    return wanted != nullptr ? std::atoi(wanted) : few;
}

// Without the library's log, which would order the threads.
class Quiet : public Vehicle {
protected:
    void SetUp() override {
        Vehicle::SetUp();
        unregisterJava();
        ASSERT_EQ(java.registerListener(0), 0);
    }
};

class Race : public Quiet, public testing::WithParamInterface<std::uint16_t> {
protected:
    /// Both at once, each round: the other on a thread of its own, a little later or earlier each time.
    template <class One, class Other, class Before, class After>
    void meet(int count, Before const& before, One const& one, Other const& other, After const& after) {
        std::barrier both(2);
        std::thread thread([&] {
            for (int i = 0; i < count; ++i) {
                both.arrive_and_wait();
                spin(i % 997);
                other();
                both.arrive_and_wait();
            }
        });
        for (int i = 0; i < count; ++i) {
            if (!HasFatalFailure()) before();
            both.arrive_and_wait();
            spin(i % 89);
            one();
            both.arrive_and_wait();
            if (!HasFatalFailure()) after();
        }
        thread.join();
    }

    static void spin(int times) {
        for (std::atomic<int> left{times}; left > 0; --left) {
        }
    }

    Identifier const& id = identifier(GetParam());
    Bytes const good = response(id.number, id.sample);
};
INSTANTIATE_TEST_SUITE_P(Shape, Race, testing::Values(std::uint16_t{0xB047}, std::uint16_t{0x54DF}),
                         [](auto const& info) { return info.param == 0xB047 ? "full" : "short"; });

TEST_P(Race, OfCancelAndResponseLeavesNoCallerWithoutReply) {
    auto const reader = probe(id);
    std::shared_ptr<Outcome> read;
    std::atomic<int> canceled{0};
    int lost = 0;
    int zeros = 0;
    int const count = rounds(5000);
    meet(
        count, [&] { read = reader->read(); }, [&] { EXPECT_EQ(java.write(RESPONSE, good), 0); },
        [&] { canceled += static_cast<int>(reader->cancel()); },
        [&] {
            if (!read->done || read->broken || read->code) ++lost;
            if (hex(read->data) == hex(Bytes(read->data.size()))) ++zeros;
        });
    EXPECT_EQ(canceled, count);
    EXPECT_EQ(lost, 0);
    std::printf("%d pairs, %d won by Cancel, %d lost\n", count, zeros, lost);
}

TEST_P(Race, OfCancelAndReadThatCanNotBeSentLeavesNoCallerWithoutReply) {
    auto const reader = probe(id);
    jvm.failAlways("NewByteArray");
    std::shared_ptr<Outcome> read;
    std::atomic<int> canceled{0};
    int lost = 0;
    int const count = rounds(5000);
    meet(
        count, [] {}, [&] { read = reader->read(); }, [&] { canceled += static_cast<int>(reader->cancel()); },
        [&] {
            if (!read->done || read->broken) ++lost;
        });
    EXPECT_EQ(canceled, count);
    EXPECT_EQ(lost, 0);
}

TEST_P(Race, OfCallsThroughThePlatformLeavesNoCallerWithoutReply) {
    int const count = rounds(1000);
    std::shared_ptr<Call> read;
    std::shared_ptr<Call> cancel;
    meet(
        count,
        [&] {
            jvm.forgetCalls();
            read = call(id, READ);
            ASSERT_TRUE(awaitRequests(1));
        },
        [&] { EXPECT_EQ(java.write(RESPONSE, good), 0); }, [&] { cancel = call(id, CANCEL); },
        [&] {
            ASSERT_TRUE(read->await());
            ASSERT_TRUE(cancel->await());
        });
}

// Java on a thread of its own, which answers whatever it is asked, one after another.
class AnsweringJava {
public:
    AnsweringJava(fake::Jvm& jvm, std::function<void(std::uint16_t)> answer)
        : m_jvm(jvm), m_answer(std::move(answer)) {
        jvm.onMessage([this](fake::Message const& message) {
            std::lock_guard const lock(m_mutex);
            m_asked.push_back(static_cast<std::uint16_t>(message.bytes[0] | message.bytes[1] << 8U));
            m_changed.notify_one();
        });
        m_thread = std::thread([this] { run(); });
    }
    ~AnsweringJava() {
        m_jvm.onMessage({});
        {
            std::lock_guard const lock(m_mutex);
            m_ended = true;
            m_changed.notify_one();
        }
        m_thread.join();
    }

private:
    void run() {
        std::unique_lock lock(m_mutex);
        for (;;) {
            m_changed.wait(lock, [this] { return m_ended || !m_asked.empty(); });
            if (m_asked.empty()) return;
            std::uint16_t const number = m_asked.front();
            m_asked.erase(m_asked.begin());
            lock.unlock();
            m_answer(number);
            lock.lock();
        }
    }

    fake::Jvm& m_jvm;
    std::function<void(std::uint16_t)> m_answer;
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::vector<std::uint16_t> m_asked;  // guarded by m_mutex
    bool m_ended = false;                // guarded by m_mutex
    std::thread m_thread;
};

class WithoutPause : public Quiet, public testing::WithParamInterface<bool> {
protected:
    /// The reads that are answered of `count`, each issued by the reply to the one before.
    int readInARow(Identifier const& id, int count) {
        AnsweringJava const answering(jvm, [&](std::uint16_t number) {
            java.write(RESPONSE, response(number, identifier(number).sample));
        });
        std::mutex mutex;
        std::condition_variable changed;
        int replies = 0;
        std::function<void()> next = [&] {
            bool goesOn = false;
            {
                std::lock_guard const lock(mutex);
                goesOn = ++replies < count;
                changed.notify_one();
            }
            if (goesOn) call(id, READ, {0, 0, 0, 0}, next);  // else all that it needs may have gone
        };
        call(id, READ, {0, 0, 0, 0}, next);
        std::unique_lock lock(mutex);
        for (int before = -1; replies < count && before != replies;) {
            before = replies;  // as long as it goes on
            changed.wait_for(lock, test::PATIENCE,
                             [&] { return replies >= before + 1000 || replies == count; });
        }
        return replies;
    }

    std::optional<OneCore> const m_core = GetParam() ? std::make_optional<OneCore>() : std::nullopt;
};
INSTANTIATE_TEST_SUITE_P(Cores, WithoutPause, testing::Bool(),
                         [](auto const& info) { return info.param ? "one" : "all"; });

TEST_P(WithoutPause, EachReadOfAClientIsAnswered) {
    int const count = rounds(2000);
    EXPECT_EQ(readInARow(identifier(0xB047), count), count);
}

TEST_P(WithoutPause, EachReadOfAListIsAnswered) {
    int const count = rounds(2000);
    EXPECT_EQ(readInARow(identifier(0x54DF), count), count);
}

TEST_P(WithoutPause, EachReadOfFourteenClientsThatQueueIsAnswered) {
    // Given fourteen clients, an identifier each, whose turn comes when the one before has its reply and
    // Java's answer has been shown to all servers
    int const count = rounds(2000);
    for (int i = 0; i < count; ++i) {
        Identifier const& id = identifiers()[static_cast<std::size_t>(i) % identifiers().size()];
        jvm.forgetCalls();
        auto const read = call(id, READ);
        ASSERT_TRUE(awaitRequests(1));
        write(response(id.number, id.sample));
        ASSERT_TRUE(read->await()) << i;
        ASSERT_EQ(hex(read->payload()), hex(id.reply(id.sample)));
    }
}

}  // namespace
}  // namespace did_test
