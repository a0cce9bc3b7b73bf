#pragma once

#include <cstdint>

namespace zvg::val::diag_ara::services::diagnosticdatadistribution::field {

/// The fixed figures of the client's messages.
struct Constants {
    static constexpr std::uint16_t LENGTH_ZERO = 0;           ///< length of an item without value
    static constexpr std::uint8_t ADAP_ID_INCR = 4;           ///< bytes of an item's id
    static constexpr std::uint8_t LEN_INCR = 2;               ///< bytes of an item's length
    static constexpr std::uint8_t MIN_SPACE_FOR_ADAP_ID = 6;  ///< room without which no item is begun
    static constexpr std::uint8_t NVM_STATUS_OK = 0x80;       ///< status of an acknowledged value
    static constexpr std::uint8_t NVM_OK = 0;                 ///< status of a changed value
    static constexpr std::uint8_t FUTURE_TIMEOUT = 3;         ///< seconds that a reply is awaited
    static constexpr std::uint8_t SEGMENTID_ZERO = 0;         ///< segment of every dataset reply
    static constexpr std::uint32_t ADAPTATIONS = 0;           ///< name space of the service
    static constexpr std::uint32_t MAPPING_NOT_VALID = 0;     ///< no record stands for the adaptation
    static constexpr std::uint32_t JAVA_CONTROL_MONITOR_PATH_COMPONENTID = 7;
};

}  // namespace zvg::val::diag_ara::services::diagnosticdatadistribution::field
