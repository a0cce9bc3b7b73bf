#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

#include "binding/generated/DiagnosticDataDistribution.h"
#include "binding/payload/Serializer.h"
#include "binding/testing/Fresh_events.h"
#include "binding/testing/Incidents.h"

namespace binding_testing {

using Hash_field = zvg::services::diagnosticdatadistribution::DiagnosticDataDistribution::dataValuesHash;

using Fresh_hashes = Fresh_events<Hash_field::Notify>;

/// A value of the field that can be told from others by a number.
inline Hash_field::Value hashes(std::uint32_t number) {
    return {{number, {}, {}}};
}
inline std::vector<unsigned char> hashBytes(std::uint32_t number) {
    return ac::com::someip::serialization::to_bytes(hashes(number), Hash_field::Notify::PROPERTIES);
}

/// What a client heard of the field, by the values' numbers. Any thread.
class Heard {
public:
    void add(Hash_field::Value const& value) {
        std::lock_guard const lock(m_mutex);
        m_numbers.push_back(value.at(0).name_space.value());
    }
    std::vector<std::uint32_t> numbers() const {
        std::lock_guard const lock(m_mutex);
        return m_numbers;
    }
    void clear() {
        std::lock_guard const lock(m_mutex);
        m_numbers.clear();
    }
    /// Waits until the value came, and nothing after it.
    bool endsWith(std::uint32_t number) const {
        return eventually([&] {
            auto const now = numbers();
            return !now.empty() && now.back() == number;
        });
    }

private:
    mutable std::mutex m_mutex;
    std::vector<std::uint32_t> m_numbers;  // guarded by m_mutex
};

/// Has the field's values heard. The one who hears lives longer than the proxy.
template <class Field>
void hear(Field& field, Heard& heard) {
    field.setReceiveHandler([&field, &heard] {
        field.update([&](auto const& value) {
            heard.add(value);
            return true;
        });
    });
}

}  // namespace binding_testing
