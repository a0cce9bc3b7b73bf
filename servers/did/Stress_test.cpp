// Reads, Cancels and responses at random, from several threads: nothing breaks, nothing is answered twice.
#include <atomic>
#include <chrono>
#include <cstdio>
#include <random>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "servers/did/test/Vehicle.h"

namespace did_test {
namespace {

constexpr std::chrono::seconds DURATION{2};

class Stress : public Vehicle {
protected:
    /// Runs `step` on `count` threads for the duration, each with numbers of its own.
    template <class Step>
    void onThreads(unsigned count, Step const& step) {
        unsigned const seed = std::random_device{}();
        std::printf("seed %u\n", seed);
        auto const end = std::chrono::steady_clock::now() + DURATION;
        std::vector<std::thread> threads;
        for (unsigned i = 0; i < count; ++i) {
            threads.emplace_back([=, this] {
                std::mt19937 random(seed + i);
                while (std::chrono::steady_clock::now() < end) step(random);
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
    std::atomic<unsigned> refused{0};
    // When
    onThreads(4, [&](std::mt19937& random) {
        std::size_t const which = random() % probes.size();
        Identifier const& id = identifiers()[which];
        try {
            switch (random() % 4) {
                case 0:
                    probes[which]->read();
                    break;
                case 1:
                    probes[which]->cancel();
                    break;
                case 2:
                    respond(id, response(id.number, id.sample));
                    break;
                default:
                    respond(any(random), response(id.number, id.sample));
            }
        } catch (std::future_error const&) {
            ++refused;  // two completions met: the second is told
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
    // When
    onThreads(4, [&](std::mt19937& random) {
        Identifier const& id = any(random);
        switch (random() % 3) {
            case 0: {
                auto const read = call(id, READ);
                std::lock_guard const lock(mutex);
                reads.emplace_back(&id, read);
                break;
            }
            case 1:
                write(response(id.number, id.sample));
                break;
            default:
                call(id, CANCEL)->await();
        }
    });
    // Then
    for (Identifier const& id : identifiers()) {
        auto const marker = call(id, CANCEL);
        ASSERT_TRUE(marker->await());
    }
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
    // Given clients that never stop calling
    std::atomic<bool> stop{false};
    std::vector<std::thread> clients;
    for (unsigned i = 0; i < 2; ++i) {
        clients.emplace_back([&, i] {
            std::mt19937 random(i);
            while (!stop) {
                Identifier const& id = any(random);
                auto const one = call(id, random() % 2 == 0 ? READ : CANCEL);
                java.write(RESPONSE, response(id.number, id.sample));
                call(any(random), CANCEL)->await();
            }
        });
    }
    // When
    auto const end = std::chrono::steady_clock::now() + DURATION;
    int cycles = 0;
    while (std::chrono::steady_clock::now() < end) {
        unregisterJava();
        registerJava();
        ++cycles;
    }
    stop = true;
    for (std::thread& client : clients) client.join();
    // Then the last generation works
    EXPECT_GT(cycles, 0);
    Identifier const& id = identifier(0x017D);
    auto const reader = probe(id);
    auto const read = reader->read();
    EXPECT_EQ(respond(id, response(id.number, id.sample)), zvg::val::eValOk);
    EXPECT_TRUE(read->done);
}

}  // namespace
}  // namespace did_test
