#pragma once

#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

namespace eb::com::runtime {

/// The bytes of a call, reply or event, without any header. Shared and never changed after it was handed
/// over, so copies are cheap and may be read by any thread. Never null: an empty one has no bytes.
class Serialized_payload {
public:
    Serialized_payload() : m_bytes(std::make_shared<std::vector<unsigned char>>()) {}
    explicit Serialized_payload(std::shared_ptr<std::vector<unsigned char> const> bytes)
        : m_bytes(bytes ? std::move(bytes) : std::make_shared<std::vector<unsigned char> const>()) {}

    std::vector<unsigned char> const& bytes() const noexcept { return *m_bytes; }

private:
    std::shared_ptr<std::vector<unsigned char> const> m_bytes;
};

}  // namespace eb::com::runtime
