// The struct of a record that is known at run time.
#pragma once

#include <algorithm>
#include <memory>
#include <new>

#include "codec/describe/Description.h"

namespace valdump {

/// Zeroed; lives as long as this object.
class RecordMemory {
public:
    explicit RecordMemory(codec::describe::Record const& record)
        : m_bytes(
              static_cast<unsigned char*>(::operator new(record.bytes, std::align_val_t(record.alignment))),
              Free{std::align_val_t(record.alignment)}) {
        std::fill_n(m_bytes.get(), record.bytes, static_cast<unsigned char>(0));
    }

    unsigned char* get() { return m_bytes.get(); }

private:
    struct Free {
        std::align_val_t alignment;
        void operator()(unsigned char* bytes) const { ::operator delete(bytes, alignment); }
    };

    std::unique_ptr<unsigned char[], Free> m_bytes;
};

}  // namespace valdump
