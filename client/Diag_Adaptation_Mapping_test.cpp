#include "client/Diag_Adaptation_Mapping.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <utility>

namespace {

using zvg::val::diag_ara::services::Diag_Adaptation_Mapping;

constexpr std::pair<unsigned, unsigned> ROWS[] = {{149, 0xA50}, {255, 0xC5F}, {312, 0x1A5}, {316, 0x5CC}};

TEST(AdaptationMapping, HasTheRecordOfEachOfTheFourAdaptations) {
    for (auto const& [adaptation, record] : ROWS) {
        EXPECT_EQ(Diag_Adaptation_Mapping::getRecordId(tDiagMgrAdaptationID{adaptation}), record);
        EXPECT_EQ(Diag_Adaptation_Mapping::getAdaptationId(record), adaptation);
    }
    EXPECT_EQ(Diag_Adaptation_Mapping::getRecordId(tDiagMgrAdaptationID{149}), 2640U);
    EXPECT_EQ(Diag_Adaptation_Mapping::getRecordId(tDiagMgrAdaptationID{255}), 3167U);
    EXPECT_EQ(Diag_Adaptation_Mapping::getRecordId(tDiagMgrAdaptationID{312}), 421U);
    EXPECT_EQ(Diag_Adaptation_Mapping::getRecordId(tDiagMgrAdaptationID{316}), 1484U);
}

TEST(AdaptationMapping, HasNoOtherInTheWholeRangeOfTheEnumeration) {
    unsigned mapped = 0;
    for (unsigned id = 0; id < 1000; ++id) {
        if (Diag_Adaptation_Mapping::getRecordId(tDiagMgrAdaptationID{id}) != 0) ++mapped;
    }
    EXPECT_EQ(mapped, 4U);
    unsigned records = 0;
    for (unsigned record = 0; record < 5000; ++record) {
        if (Diag_Adaptation_Mapping::getAdaptationId(record) != 0) ++records;
    }
    EXPECT_EQ(records, 4U);
    EXPECT_EQ(Diag_Adaptation_Mapping::MAPPING_NOT_EXIST, 0U);
}

TEST(AdaptationMapping, ListsTheAdaptationsInAscendingOrder) {
    EXPECT_THAT(Diag_Adaptation_Mapping::getAllAdaptationIds(), testing::ElementsAre(149, 255, 312, 316));
}

}  // namespace
