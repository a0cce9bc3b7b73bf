// Frames out of a stream of bytes that comes in pieces of any size.
#pragma once

#include <memory>
#include <optional>
#include <utility>

#include "tools/tester/doip/Protocol.h"

namespace tester::doip {

/// Memory for long payloads, which all connections share. Network thread.
class Store {
public:
    explicit Store(std::size_t bytes) : m_left(bytes) {}

    /// Part of the store, given back when it ends. The store has to outlive it.
    class Loan {
    public:
        Loan() = default;
        Loan(Store& store, std::size_t bytes) : m_store(&store), m_bytes(bytes) { store.m_left -= bytes; }
        Loan(Loan&& other) noexcept
            : m_store(std::exchange(other.m_store, nullptr)), m_bytes(other.m_bytes) {}
        Loan& operator=(Loan&& other) noexcept {
            std::swap(m_store, other.m_store);
            std::swap(m_bytes, other.m_bytes);
            return *this;
        }
        ~Loan() {
            if (m_store) m_store->m_left += m_bytes;
        }

    private:
        Store* m_store = nullptr;
        std::size_t m_bytes = 0;
    };

    std::optional<Loan> lend(std::size_t bytes) {
        if (bytes > m_left) return {};
        return Loan(*this, bytes);
    }

private:
    std::size_t m_left;
};

/// A whole frame, or one that is refused for its header.
struct Frame {
    std::array<unsigned char, HEADER_SIZE> front{};  ///< the header as it came
    Header header{};
    Message payload;  ///< empty if refused
    std::optional<HeaderNack> refused;
    Store::Loan loan;  ///< of the payload
};

/// Takes a TCP stream apart. Allocates a payload's memory once its header is good, never more than
/// PAYLOAD_MOST bytes; the payload of a refused frame is skipped as it comes. After a refusal that ends the
/// connection it takes no more bytes.
class FrameReader {
public:
    /// Payloads up to this length are always taken; longer ones borrow from the store.
    static constexpr std::size_t OWN_MEMORY = ADDRESSES_SIZE + UDS_REQUEST_MOST;

    explicit FrameReader(Store& store) : m_store(store) {}

    /// Takes bytes from the front of `bytes` up to the end of a frame, which is the result. Without a result
    /// it has taken all of them. Ignored messages are no frames.
    std::optional<Frame> next(Bytes& bytes);

    bool ended() const noexcept { return m_ended; }

private:
    std::optional<Frame> judge();

    Store& m_store;
    std::array<unsigned char, HEADER_SIZE> m_header{};
    std::size_t m_headerSize = 0;
    std::uint32_t m_skip = 0;  // of a payload that isn't wanted
    Frame m_frame;             // the last one
    bool m_open = false;       // its payload is coming
    bool m_ended = false;
};

}  // namespace tester::doip
