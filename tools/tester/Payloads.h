// Replies as they stand on the wire, for tests.
#pragma once

#include <string>
#include <vector>

namespace tester {

using Payload = std::vector<unsigned char>;

inline Payload text(std::string const& characters) {
    return {characters.begin(), characters.end()};
}

/// An array or a byte vector: four bytes of length, then the content.
inline Payload withLength(Payload const& content) {
    auto const byte = [size = content.size()](unsigned shift) {
        return static_cast<unsigned char>(size >> shift);
    };
    Payload all{byte(24), byte(16), byte(8), byte(0)};
    all.insert(all.end(), content.begin(), content.end());
    return all;
}

inline Payload operator+(Payload left, Payload const& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

/// A good reply of 0xB047: 54 bytes.
inline Payload timeLastClientPackage() {
    return withLength(text("2026-11-21T08:15:30Z")) + withLength(Payload(20, 0)) + withLength(Payload{0, 2});
}

}  // namespace tester
