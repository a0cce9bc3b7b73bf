#pragma once

#include "codec/describe/Tables.h"

#include <string_view>
#include <vector>

namespace oracle {

using codec::describe::Enumeration;
using codec::describe::Family;
using codec::describe::Field;
using codec::describe::Message;
using codec::describe::Record;

/** The families of the catalogue and the golden one. */
const std::vector<const Family*>& allFamilies();

// Each throws std::out_of_range if there is none.
const Record& recordNamed(std::string_view name);
const Message& messageNamed(std::string_view name);
const Field& fieldNamed(const Record& record, std::string_view name);

}  // namespace oracle
