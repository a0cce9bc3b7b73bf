// What the generated functions need besides their arguments: no memory, and no state that threads would
// share.

#include "codec/describe/Description.h"
#include "codec/oracle/Compare.h"
#include "codec/oracle/Random.h"
#include "tests/support/Allocations.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <thread>
#include <vector>

namespace oracle {

namespace {

/** A message with a valid record, random as the seed says, and its payload. */
struct Sample {
    Sample(const Message& of, Random& random) : message(&of), record(*of.record) {
        randomise(*of.record, record.get(), random, Flaws::NONE);
        payload.resize(of.packedSize(nullptr, record.get()));
        sQlet1Mod4MessageHdr header{};
        EXPECT_EQ(of.pack(&header, payload.data(), sizeOf(payload), record.get()), ePackOk) << of.name;
    }

    const Message* message;
    RecordMemory record;
    std::vector<unsigned char> payload;
};

std::vector<Sample> samplesOfAllMessages() {
    const std::uint64_t seed = std::random_device{}();
    testing::Test::RecordProperty("seed", std::to_string(seed));
    Random random(seed);
    std::vector<Sample> samples;
    for (const Message& message : codec::describe::messages()) samples.emplace_back(message, random);
    return samples;
}

/** Packs a sample into `buffer` and unpacks it into `record`; whether both came out as they should. */
bool goesThereAndBack(const Sample& sample, std::vector<unsigned char>& buffer, RecordMemory& record) {
    const Message& message = *sample.message;
    sQlet1Mod4MessageHdr header{};
    return message.packedSize(nullptr, sample.record.get()) == sample.payload.size() &&
           message.pack(&header, buffer.data(), sizeOf(sample.payload), sample.record.get()) == ePackOk &&
           header.messageId == message.id && header.length == sample.payload.size() &&
           message.unpack(&header, sample.payload.data(), record.get()) == eUnpackOk;
}

}  // namespace

TEST(CodecMemory, IsNotNeededToPackAndUnpackAnyMessage) {
    for (const Sample& sample : samplesOfAllMessages()) {
        // Given
        std::vector<unsigned char> buffer(sample.payload.size());
        RecordMemory record(*sample.message->record);
        std::array<char, 4096> text;
        // When
        test::Allocations::largest = 0;
        const bool right = goesThereAndBack(sample, buffer, record);
        if (sample.message->toString != nullptr)
            sample.message->toString(record.get(), text.data(), text.size());
        const std::size_t largest = test::Allocations::largest;
        // Then
        EXPECT_EQ(largest, 0U) << sample.message->name;
        EXPECT_TRUE(right) << sample.message->name;
        EXPECT_EQ(buffer, sample.payload) << sample.message->name;
    }
}

TEST(CodecThreads, DoNotDisturbEachOtherWithTheSameMessages) {
    // Given records that all threads read
    constexpr unsigned THREADS = 4;
    const std::vector<Sample> samples = samplesOfAllMessages();
    std::atomic<unsigned> ready{0};
    std::atomic<unsigned> wrong{0};
    // When
    std::vector<std::thread> threads;
    for (unsigned thread = 0; thread < THREADS; ++thread) {
        threads.emplace_back([&] {
            ++ready;
            while (ready < THREADS) std::this_thread::yield();
            for (const Sample& sample : samples) {
                std::vector<unsigned char> buffer(sample.payload.size());
                RecordMemory record(*sample.message->record);
                if (!goesThereAndBack(sample, buffer, record) || buffer != sample.payload) ++wrong;
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    // Then
    EXPECT_EQ(wrong, 0U);
}

}  // namespace oracle
