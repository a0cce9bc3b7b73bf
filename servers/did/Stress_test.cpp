// Reads, Cancels and responses at random, from several threads: nothing breaks, nothing is answered twice.
#include <atomic>
#include <cstdio>
#include <future>
#include <random>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "servers/did/test/Vehicle.h"

namespace did_test {
namespace {

constexpr unsigned THREADS = 4;
constexpr int STEPS = 4000;  // of each thread

class Stress : public Vehicle {
protected:
    /// Runs `step` again and again on several threads, each with random numbers of its own.
    template <class Step>
    void onThreads(Step const& step) {
        unsigned const seed = std::random_device{}();
        std::printf("seed %u\n", seed);
        std::vector<std::thread> threads;
        for (unsigned i = 0; i < THREADS; ++i) {
            threads.emplace_back([&step, own = seed + i] {
                std::mt19937 random(own);
                for (int left = STEPS; left > 0; --left) step(random);
            });
        }
        for (std::thread& thread : threads) thread.join();
    }

    static Identifier const& any(std::mt19937& random) {
        return identifiers()[random() % identifiers().size()];
    }
};

TEST_F(Stress, ServersOutliveReadsCancelsAndResponsesThatMeet) {
    // Given probes that call the servers directly, so that nothing but the servers orders the threads
    std::vector<std::unique_ptr<Probe>> probes;
    for (Identifier const& id : identifiers()) probes.push_back(probe(id));
    // When
    onThreads([&](std::mt19937& random) {
        std::size_t const which = random() % probes.size();
        Identifier const& id = identifiers()[which];
        switch (random() % 4) {
            case 0:
                probes[which]->read();
                break;
            case 1:
                EXPECT_TRUE(probes[which]->cancel());
                break;
            case 2:
                respond(id, response(id.number, id.sample));
                break;
            default:
                respond(any(random), response(id.number, id.sample));
        }
    });
    // Then each server still answers
    for (std::size_t i = 0; i < probes.size(); ++i) {
        Identifier const& id = identifiers()[i];
        auto const read = probes[i]->read();
        EXPECT_EQ(respond(id, response(id.number, id.sample)), zvg::val::eValOk);
        EXPECT_EQ(hex(read->data), hex(id.sample));
    }
}

TEST_F(Stress, NoCallIsAnsweredTwiceAndEachValueIsWholeOrZeros) {
    // Given clients of the platform, and Java answering on threads of its own
    std::mutex mutex;
    std::vector<std::pair<Identifier const*, std::shared_ptr<Call>>> reads;
    std::vector<std::shared_ptr<Call>> cancels;
    // When
    onThreads([&](std::mt19937& random) {
        Identifier const& id = any(random);
        switch (random() % 3) {
            case 0: {
                auto const read = call(id, READ);
                std::lock_guard const lock(mutex);
                reads.emplace_back(&id, read);
                break;
            }
            case 1:
                EXPECT_EQ(java.write(RESPONSE, response(id.number, id.sample)), 0);
                break;
            default: {
                auto const cancel = call(id, CANCEL);
                std::lock_guard const lock(mutex);
                cancels.push_back(cancel);
            }
        }
    });
    // Then each Cancel has its reply
    for (auto const& cancel : cancels) {
        ASSERT_TRUE(cancel->await());
        EXPECT_EQ(cancel->returnCode(), 0);
    }
    // And, when nothing of it runs any more, no Read has two
    ASSERT_TRUE(awaitRequests(reads.size()));
    unregisterJava();
    for (auto const& cancel : cancels) EXPECT_EQ(cancel->answers(), 1);
    std::size_t answered = 0;
    for (auto const& [id, read] : reads) {
        EXPECT_LE(read->answers(), 1);
        if (!read->answered()) continue;
        ++answered;
        EXPECT_EQ(read->returnCode(), 0);
        EXPECT_THAT(hex(read->payload()), testing::AnyOf(hex(id->reply(id->sample)), hex(id->zeros())));
    }
    EXPECT_GT(answered, 0U);
    RecordProperty("reads", static_cast<int>(reads.size()));
    RecordProperty("answered", static_cast<int>(answered));
}

TEST_F(Stress, RegistrationsEndWhileClientsCall) {
    // Given clients that don't look whether anybody is there
    std::atomic<bool> running{true};
    std::thread clients([&] {
        onThreads([&](std::mt19937& random) {
            Identifier const& id = any(random);
            call(id, random() % 2 == 0 ? READ : CANCEL);
            java.write(RESPONSE, response(id.number, id.sample));
        });
        running = false;
    });
    // When
    int cycles = 0;
    do {
        unregisterJava();
        registerJava();
        ++cycles;
    } while (running);
    clients.join();
    // Then the last generation works
    RecordProperty("cycles", cycles);
    Identifier const& id = identifier(0x017D);
    auto const reader = probe(id);
    auto const read = reader->read();
    EXPECT_EQ(respond(id, response(id.number, id.sample)), zvg::val::eValOk);
    EXPECT_TRUE(read->done);
}

}  // namespace
}  // namespace did_test
