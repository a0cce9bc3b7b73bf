#include "binding/generated/Uds_service_failed.h"

#include "binding/payload/Deserializer.h"
#include "binding/payload/Serializer.h"

namespace zvg::services::diag {

Uds_error::Uds_error(std::vector<unsigned char> const& payload)
    : m_code(ac::com::someip::serialization::from_bytes<ac::dm::types::UDSResponseCodeType>(payload)) {}

void Uds_error::serialize(ac::com::someip::serialization::Serializer& serializer) const {
    serializer.serialize(m_code);
}

}  // namespace zvg::services::diag
