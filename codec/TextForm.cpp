#include "codec/TextForm.h"

#include <cstdarg>
#include <cstdio>

namespace {
constexpr std::size_t ELEMENT_CHARGE = 3;
}

TextForm::TextForm(char* buffer, std::size_t size)
    : m_at(buffer), m_end(buffer == nullptr ? nullptr : buffer + size), m_left(buffer == nullptr ? 0 : size) {
    if (m_left != 0) *m_at = '\0';
}

void TextForm::addUnsigned(const char* name, unsigned int value) {
    addItem("%s:%u;", name, value);
}

void TextForm::addSigned(const char* name, int value) {
    addItem("%s:%d;", name, value);
}

void TextForm::addLong(const char* name, long value) {
    addItem("%s:%ld;", name, value);
}

void TextForm::addBool(const char* name, unsigned char value) {
    addItem("%s:%s;", name, value != 0 ? "true" : "false");
}

void TextForm::charge(const Mark& before) {
    const auto written = static_cast<std::size_t>(m_at - before.at);
    m_left = m_left == 0 || before.left <= written ? 0 : before.left - written;
}

void TextForm::addBracket(const char* name, std::uint64_t count) {
    addItem("%s[%d]:", name, static_cast<int>(count));
}

void TextForm::addElement(std::uint8_t value, char after) {
    addElementText("%02x%c", value, after);
}

void TextForm::addElement(std::uint16_t value, char after) {
    addElementText("%u%c", value, after);
}

void TextForm::addElement(std::uint32_t value, char after) {
    addElementText("%d%c", static_cast<int>(value), after);
}

void TextForm::addItem(const char* format, ...) {
    if (m_left == 0) return;
    const std::size_t space = room();
    std::va_list arguments;
    va_start(arguments, format);
    const std::size_t length = print(format, arguments);
    va_end(arguments);
    m_left = length < space ? m_left - length : 0;
}

void TextForm::addElementText(const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    print(format, arguments);
    va_end(arguments);
    // With just enough for this element, nothing may follow it.
    m_left = m_left <= ELEMENT_CHARGE ? 0 : m_left - ELEMENT_CHARGE;
}

std::size_t TextForm::print(const char* format, __builtin_va_list arguments) {
    const std::size_t space = room();
    const int length = std::vsnprintf(m_at, space, format, arguments);
    if (length < 0) return space;
    const auto full = static_cast<std::size_t>(length);
    if (space != 0) m_at += std::min(full, space - 1);
    return full;
}

std::size_t TextForm::room() const {
    return std::min(m_left, static_cast<std::size_t>(m_end - m_at));
}
