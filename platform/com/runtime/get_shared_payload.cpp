#include <ac/com/cpp_binding/get_shared_payload.h>

std::shared_ptr<std::vector<unsigned char>> ac::com::cpp_binding::get_shared_payload(unsigned long capacity) {
    auto payload = std::make_shared<std::vector<unsigned char>>();
    payload->reserve(capacity);
    return payload;
}
