// The records that the data service serves, and the file that they stand in.
#pragma once

#include <cstdint>
#include <istream>
#include <map>
#include <string>
#include <vector>

namespace tester {

/// What a record answers with.
struct DataRecord {
    std::vector<unsigned char> bytes;
    std::uint32_t resultCode = 0;  ///< 0 is success; otherwise the bytes are empty
    bool operator==(DataRecord const&) const = default;
};

/// A record's number, "2640" or "0xA50". Throws std::invalid_argument that tells what was expected.
std::uint32_t parseRecordId(std::string const& text);
/// "2640 (0xA50)".
std::string recordName(std::uint32_t id);

/// `01 02 03 04` or `01020304`, `"a text"`, `empty`, `error 3`. Throws std::invalid_argument like the above.
DataRecord parseDataRecord(std::string const& text);

/// "01 02 03 04", "empty", "error 3".
std::string text(DataRecord const& record);

/// The records by their numbers. Used under its owner's lock.
class DataValues {
public:
    /// One record a line, `2640 = 01 02 03 04`; `#` begins a comment. Throws std::invalid_argument with
    /// file, line and what was expected; the same record twice is refused as well.
    static DataValues parse(std::istream& lines, std::string const& origin);
    /// Throws std::invalid_argument also for a file that can't be read.
    static DataValues load(std::string const& path);

    /// Null if there is no such record.
    DataRecord const* find(std::uint32_t id) const;
    /// Whether that made a difference.
    bool set(std::uint32_t id, DataRecord record);

    std::map<std::uint32_t, DataRecord> const& records() const noexcept { return m_records; }

    /// Differs when the records do: FNV-1a over numbers and bytes.
    std::uint64_t hash() const;

private:
    std::map<std::uint32_t, DataRecord> m_records;
};

}  // namespace tester
