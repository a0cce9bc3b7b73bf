#pragma once

#include <algorithm>
#include <array>
#include <exception>
#include <string_view>
#include <vector>

#include <ac/com/cpp_binding/Application_error_exception.h>
#include <ac/dm/types/UDSResponseCodeType.h>

namespace ac::com::someip::serialization {
class Serializer;
}

namespace zvg::services::diag {

/// The one error of the diagnostic interfaces: a UDS negative response code, which travels as one byte.
class Uds_error : public ac::com::cpp_binding::Application_error_exception {
public:
    /// Return code of this error on the wire.
    static constexpr unsigned char ERROR = 2;

    unsigned char error() const noexcept final { return ERROR; }
    void serialize(ac::com::someip::serialization::Serializer& serializer) const final;
    ac::dm::types::UDSResponseCodeType code() const noexcept { return m_code; }

protected:
    explicit Uds_error(ac::dm::types::UDSResponseCodeType code) noexcept : m_code(code) {}
    /// From an error's payload. Throws std::out_of_range if it is empty; further bytes are not looked at.
    explicit Uds_error(std::vector<unsigned char> const& payload);

private:
    ac::dm::types::UDSResponseCodeType m_code;
};

/// That error as the interface `Interface` raises it.
template <class Interface>
class Uds_service_failed final : public Uds_error {
public:
    explicit Uds_service_failed(ac::dm::types::UDSResponseCodeType code) noexcept : Uds_error(code) {}
    explicit Uds_service_failed(std::vector<unsigned char> const& payload) : Uds_error(payload) {}

    /// "<interface>::UDSServiceFailed::2".
    char const* what() const noexcept override { return TEXT.data(); }

private:
    static constexpr auto TEXT = [] {
        constexpr std::string_view ENDING = "::UDSServiceFailed::2";
        std::array<char, Interface::SHORT_NAME.size() + ENDING.size() + 1> text{};
        std::ranges::copy(ENDING, std::ranges::copy(Interface::SHORT_NAME, text.begin()).out);
        return text;
    }();
};

/// A method that may raise `Failed`.
template <class Failed>
struct Failing_method {
    /// The exception that a reply with that return code stands for; null for a code the method doesn't have.
    static std::exception_ptr GetApplicationErrorExceptionPtr(unsigned char error,
                                                              std::vector<unsigned char> const& payload) {
        return error == Failed::ERROR ? std::make_exception_ptr(Failed(payload)) : nullptr;
    }
};

/// A method that raises no error of its own.
struct Unfailing_method {
    static std::exception_ptr GetApplicationErrorExceptionPtr(unsigned char,
                                                              std::vector<unsigned char> const&) {
        return nullptr;
    }
};

}  // namespace zvg::services::diag
