// What the schemas declare is what agreed.txt lists: nothing is missing, nothing is invented.

#include "codec/catalogue/Agreed.h"
#include "codec/describe/Description.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>

namespace agreed {

namespace describe = codec::describe;

namespace {

const Catalogue& catalogue() {
    static const Catalogue ALL = read(CODEC_AGREED);
    return ALL;
}

/** Both sides of a difference by name: a count alone would tell nobody what to mend. */
template <class Element>
void expectSame(const std::set<Element>& wanted, const std::set<Element>& declared) {
    std::vector<Element> missing, invented;
    std::ranges::set_difference(wanted, declared, std::back_inserter(missing));
    std::ranges::set_difference(declared, wanted, std::back_inserter(invented));
    EXPECT_TRUE(missing.empty()) << "missing: " << testing::PrintToString(missing);
    EXPECT_TRUE(invented.empty()) << "invented: " << testing::PrintToString(invented);
}

std::size_t messagesOf(std::string_view type) {
    return static_cast<std::size_t>(std::ranges::count(
        describe::messages(), type, [](const describe::Message& each) { return each.record->name; }));
}

bool isWrapped(const describe::Message& message) {
    return message.payload != message.record->name;
}

}  // namespace

TEST(Agreed, EveryMessageStandsUnderItsIdWithItsPayload) {
    std::set<Message> declared;
    for (const describe::Message& each : describe::messages()) {
        declared.insert(
            {each.id, std::string(each.name), std::string(each.payload), std::string(each.record->name)});
    }
    expectSame(catalogue().messages, declared);
    EXPECT_EQ(describe::messages().size(), declared.size());
}

TEST(Agreed, EveryIdBelongsToOneMessage) {
    std::set<unsigned> ids;
    for (const Message& each : catalogue().messages) ids.insert(each.id);
    for (unsigned id = 0; id <= 0xFFFF; ++id) {
        const describe::Message* const found = describe::findMessage(static_cast<std::uint16_t>(id));
        EXPECT_EQ(found != nullptr, ids.contains(id)) << id;
        EXPECT_TRUE(found == nullptr || found->id == id) << id;
    }
    EXPECT_EQ(describe::messages().front().id, 512);
    EXPECT_EQ(describe::messages().back().id, 3002);
}

TEST(Agreed, EveryRecordIsATypeANestedOneOrAFamilysPayload) {
    std::set<std::string> wanted = catalogue().types;
    wanted.insert(catalogue().nested.begin(), catalogue().nested.end());
    for (const Message& each : catalogue().messages) wanted.insert(each.type);
    std::set<std::string> declared;
    for (const describe::Record* each : describe::records()) declared.insert(std::string(each->name));
    expectSame(wanted, declared);
    EXPECT_EQ(describe::records().size(), declared.size());
}

TEST(Agreed, EveryEnumerationHasItsWidthAndItsValues) {
    std::set<Enumeration> declared;
    for (const describe::Enumeration* each : describe::enumerations()) {
        Enumeration set{std::string(each->name),
                        each->wireBits,
                        each->kind == describe::Enumeration::Kind::ANY,
                        each->mask,
                        {}};
        for (const auto& [first, last] : each->ranges) set.ranges.emplace_back(first, last);
        declared.insert(set);
    }
    expectSame(catalogue().enumerations, declared);
    EXPECT_EQ(describe::enumerations().size(), declared.size());
}

TEST(Agreed, ValuesHaveTheirNames) {
    std::set<Value> declared;
    for (const describe::Enumeration* each : describe::enumerations()) {
        for (const auto& [name, number] : each->names)
            declared.insert({std::string(each->name), std::string(name), number});
    }
    expectSame(catalogue().values, declared);
    EXPECT_EQ(declared.size(), 18u);
}

TEST(Agreed, AnEnumerationIsSignedIfItHasNegativeValues) {
    std::map<std::string, bool> negative;
    for (const Enumeration& each : catalogue().enumerations)
        negative[each.name] = !each.ranges.empty() && each.ranges.front().first < 0;
    for (const describe::Enumeration* each : describe::enumerations())
        EXPECT_EQ(each->isSigned, negative.at(std::string(each->name))) << each->name;
}

TEST(Agreed, OneEnumerationLetsEveryValuePass) {
    for (const describe::Enumeration* each : describe::enumerations()) {
        EXPECT_EQ(each->kind == describe::Enumeration::Kind::ANY, each->name == "tVALClimaSetupStatusValue")
            << each->name;
    }
}

TEST(Agreed, TheCatalogueHasItsSize) {
    const auto wrappers = std::ranges::count_if(describe::messages(), isWrapped);
    EXPECT_EQ(describe::messages().size(), 843u);
    EXPECT_EQ(describe::records().size() + static_cast<std::size_t>(wrappers), 1206u);
    EXPECT_EQ(wrappers, 689);
    EXPECT_EQ(describe::enumerations().size(), 328u);
}

TEST(Agreed, AFamilysMessageCarriesARecordOfItsOwn) {
    std::map<std::string, int> families;
    for (const describe::Message& each : describe::messages()) {
        if (isWrapped(each)) {
            const std::string name(each.name);
            EXPECT_EQ(each.payload, "t" + name.substr(0, name.size() - 3) + "Indds");
            EXPECT_TRUE(name.starts_with("Val") && name.ends_with("Ind")) << name;
            continue;
        }
        EXPECT_EQ(each.payload, "t" + std::string(each.name) + "ds");
        const auto second =
            std::ranges::find_if(each.name.substr(1), [](char c) { return c >= 'A' && c <= 'Z'; });
        ++families[std::string(each.name.begin(), second)];
    }
    const std::map<std::string, int> wanted = {
        {"Authd", 12}, {"Bapecall", 8},   {"Caiman", 25},    {"Diagmgr", 20}, {"Ecall", 3},  {"Etherman", 2},
        {"Ids", 2},    {"Modemctrl", 27}, {"Oruflasher", 9}, {"Otalog", 1},   {"Pacman", 3}, {"Powerman", 5},
        {"Rtm", 3},    {"Sok", 7},        {"Val", 4},        {"Vkms", 10},    {"Vtt", 2},    {"Wlanman", 11},
    };
    EXPECT_EQ(families, wanted);
}

TEST(Agreed, MostMessagesShareFiveTypes) {
    EXPECT_EQ(messagesOf("VALNull_t"), 109u);
    EXPECT_EQ(messagesOf("VALBool_t"), 44u);
    EXPECT_EQ(messagesOf("VALUInt8_t"), 40u);
    EXPECT_EQ(messagesOf("VALStatefulBool_t"), 40u);
    EXPECT_EQ(messagesOf("VALUInt16_t"), 33u);
}

TEST(Agreed, DataTypesTheirWrappersAndTheFourValPayloadsHaveATextForm) {
    const std::set<std::string> payloads = {"tValEstimatedCruisingRangePrimaryReqds",
                                            "tValModcommunicationstateReqds", "tValUserSyncRespds",
                                            "tValUserSyncReqds"};
    const std::set<std::string> irregular = {"ValAuthenticTimeContainer_t", "VALTransactionState",
                                             "VALCscUpdateTruststoreReq"};
    std::size_t functions = 0;
    for (const describe::Record* each : describe::records()) {
        const std::string name(each->name);
        const bool isDataType = (name.starts_with("VAL") && name.ends_with("_t")) || irregular.contains(name);
        EXPECT_EQ(each->toString != nullptr, isDataType || payloads.contains(name)) << name;
        functions += each->toString != nullptr ? 1 : 0;
    }
    for (const describe::Message& each : describe::messages()) {
        if (!isWrapped(each)) continue;
        EXPECT_NE(each.toString, nullptr) << each.name;
        ++functions;
    }
    EXPECT_EQ(functions, 1030u);
}

TEST(Agreed, IrregularNamesStandAsTheyAre) {
    for (const char* name :
         {"ValAuthenticTimeContainer_t", "VALTransactionState", "VALCscUpdateTruststoreReq", "sCryptBlock",
          "cleartxtBuff", "cipherBuff", "cmacBuff"}) {
        EXPECT_NE(describe::findRecord(name), nullptr) << name;
    }
    ASSERT_NE(describe::findMessage("ModemctrlDeviceImeiRespMovedToModemctrl"), nullptr);
    EXPECT_EQ(describe::findMessage("ModemctrlDeviceImeiRespMovedToModemctrl")->id, 527);
}

}  // namespace agreed
