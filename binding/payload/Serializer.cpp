#include "binding/payload/Serializer.h"

#include "binding/payload/Utf8_string.h"

namespace ac::com::someip::serialization::detail {

void serialize_content(std::string const& text, std::vector<unsigned char>& bytes) {
    bytes.insert(bytes.end(), BYTE_ORDER_MARK.begin(), BYTE_ORDER_MARK.end());
    bytes.insert(bytes.end(), text.begin(), text.end());
    bytes.push_back(0);
}

}  // namespace ac::com::someip::serialization::detail
