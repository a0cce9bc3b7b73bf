#include <functional>
#include <utility>

#include "platform/com/testing/Hostile_frames.h"
#include "platform/com/testing/Segments.h"

namespace eb::com::runtime::testing {
namespace {

using Bytes = std::vector<std::uint8_t>;
using Messages = std::vector<Hostile_message>;
using someip::Header;

std::string numbers(std::initializer_list<std::pair<char const*, std::size_t>> parts) {
    std::string text;
    for (auto const& [name, value] : parts)
        text += (text.empty() ? "" : ", ") + std::string(name) + " " + std::to_string(value);
    return text;
}

/// One segment alone, with each way to be wrong in offset, size and flag.
void addSingles(Messages& messages, Header const& good) {
    for (std::uint32_t const offset : {0U, 16U, 32U, 1'392U, 65'520U, 65'536U, 1'048'560U, 1'048'576U,
                                       16'777'216U, 0x7FFFFFF0U, 0x80000000U, 0xFFFFFFF0U})
        for (std::size_t const size : {0U, 1U, 15U, 16U, 17U, 1'391U, 1'392U, 1'393U, 1'408U, 65'472U})
            for (bool const more : {false, true})
                messages.push_back({numbers({{"segment alone at", offset}, {"bytes", size}, {"more", more}}),
                                    {segmentOf(good, offset, more, pattern(size))}});
    for (unsigned size = 0; size < someip::TP_HEADER_BYTES; ++size) {
        Header header = good;
        header.type |= someip::TP_FLAG;
        messages.push_back({numbers({{"segment with", size}}) + " bytes of its second header",
                            {someip::encode(header, Bytes(size))}});
    }
    for (unsigned bits = 0; bits < 16; ++bits) {
        Bytes segment = segmentOf(good, 0, false, pattern(32));
        segment[someip::HEADER_BYTES + 3] = static_cast<std::uint8_t>(bits);
        messages.push_back({numbers({{"segment alone with reserved bits and flag", bits}}), {segment}});
    }
    for (unsigned type = 0; type < 256; ++type) {
        if ((type & someip::TP_FLAG) == 0) continue;
        Bytes segment = segmentOf(good, 0, true, pattern(32));
        segment[14] = static_cast<std::uint8_t>(type);
        messages.push_back({numbers({{"first segment of type", type}}), {segment}});
    }
}

/// A message of several segments of which one is missing, doubled, cut short, late, or under another header.
void addSets(Messages& messages, Header const& good) {
    Bytes const payload = pattern(16 * 16 - 5);
    auto const all = segmentsOf(good, payload, 16);
    for (std::size_t index = 0; index < all.size(); ++index) {
        auto const at = static_cast<std::ptrdiff_t>(index);
        auto changed = all;
        changed.erase(changed.begin() + at);
        messages.push_back({numbers({{"without segment", index}}), changed});
        changed = all;
        changed.insert(changed.begin() + at, 3, all[index]);
        messages.push_back({numbers({{"four times segment", index}}), changed});
        changed = all;
        changed[index].pop_back();
        messages.push_back({numbers({{"cut in its datagram: segment", index}}), changed});
        changed = all;
        changed[index][7] = static_cast<std::uint8_t>(changed[index][7] - 1);
        messages.push_back({numbers({{"one byte shorter by its length: segment", index}}), changed});
        changed = all;
        changed[index][someip::HEADER_BYTES + 3] ^= 1U;
        messages.push_back({numbers({{"with the other more-flag: segment", index}}), changed});
        messages.push_back({numbers({{"ends after segment", index}}), {all.begin(), all.begin() + at + 1}});
        messages.push_back({numbers({{"begins with segment", index}}), {all.begin() + at, all.end()}});
        changed = all;
        std::rotate(changed.begin(), changed.begin() + at, changed.end());
        messages.push_back({numbers({{"in a circle from segment", index}}), changed});
    }
    for (std::size_t position = 0; position < someip::HEADER_BYTES; ++position)
        for (std::size_t const index : {std::size_t{0}, all.size() / 2, all.size() - 1}) {
            auto changed = all;
            changed[index][position] ^= 0x41U;
            messages.push_back(
                {numbers({{"another byte", position}, {"in the header of segment", index}}), changed});
        }
    messages.push_back({"backwards", {all.rbegin(), all.rend()}});
}

/// Pairs of segments whose borders don't agree.
void addPairs(Messages& messages, Header const& good) {
    for (std::size_t const first : {16U, 32U, 48U, 64U})
        for (std::size_t const offset : {0U, 16U, 32U, 48U, 64U, 80U})
            for (std::size_t const size : {1U, 16U, 33U})
                messages.push_back(
                    {numbers({{"first", first}, {"then at", offset}, {"the last bytes", size}}),
                     {segmentOf(good, 0, true, pattern(first)),
                      segmentOf(good, static_cast<std::uint32_t>(offset), false, pattern(size, 2))}});
    for (std::size_t const size : {1U, 15U, 16U, 17U, 31U, 32U, 33U, 47U, 48U, 49U})
        messages.push_back(
            {numbers({{"last segments at 32 of 32 bytes and of", size}}),
             {segmentOf(good, 32, false, pattern(32)), segmentOf(good, 32, false, pattern(size)),
              segmentOf(good, 0, true, pattern(32))}});
    for (std::uint32_t const offset : {48U, 64U, 80U, 4'096U})
        messages.push_back(
            {numbers({{"last segment ends at 64, another one begins at", offset}}),
             {segmentOf(good, 32, false, pattern(32)), segmentOf(good, offset, true, pattern(32))}});
}

/// Many messages at a time, finished or not.
void addCrowds(Messages& messages, Header const& good) {
    for (std::size_t const count : {2U, 3U, 16U, 17U, 64U, 65U, 200U})
        for (bool const finished : {false, true}) {
            Hostile_message crowd{numbers({{"interleaved sessions", count}, {"finished", finished}}), {}};
            for (int part = 0; part < (finished ? 2 : 1); ++part)
                for (std::size_t session = 0; session < count; ++session) {
                    Header header = good;
                    header.session = static_cast<std::uint16_t>(good.session + session);
                    crowd.datagrams.push_back(segmentOf(header, part == 0 ? 0 : 16, part == 0, pattern(16)));
                }
            messages.push_back(crowd);
        }
    for (std::size_t const gap : {16U, 32U, 1'392U, 4'096U}) {
        Hostile_message pieces{numbers({{"pieces with gaps of", gap}}), {}};
        for (std::uint32_t offset = 0; offset < 1'048'576 && pieces.datagrams.size() < 100;
             offset += static_cast<std::uint32_t>(16 + gap))
            pieces.datagrams.push_back(segmentOf(good, offset, true, pattern(16)));
        messages.push_back(pieces);
    }
    Header unnumbered = good;
    unnumbered.session = 0;
    auto const all = segmentsOf(unnumbered, pattern(64), 16);
    messages.push_back({"session 0 backwards", {all.rbegin(), all.rend()}});
    messages.push_back({"session 0 begun twice", {all[0], all[1], all[0], all[1], all[2], all[3]}});
    messages.push_back({"session 0 with a gap", {all[0], all[2], all[3]}});
    Bytes merged;
    for (Bytes const& segment : all) merged.insert(merged.end(), segment.begin(), segment.end());
    merged.pop_back();
    messages.push_back({"all segments in one datagram, the last one cut off", {merged}});
}

}  // namespace

Bytes Hostile_message::inOnePiece() const {
    Bytes all;
    for (Bytes const& datagram : datagrams) all.insert(all.end(), datagram.begin(), datagram.end());
    return all;
}

Messages hostileSegments(Header const& good) {
    Messages messages;
    Bytes const payload = pattern(64);
    std::vector<Hostile_frame> damaged;
    addDamaged(damaged, "first segment", segmentOf(good, 0, true, {payload.begin(), payload.begin() + 32}));
    for (Hostile_frame const& frame : damaged)
        messages.push_back(
            {frame.name, {frame.bytes, segmentOf(good, 32, false, {payload.begin() + 32, payload.end()})}});
    addSingles(messages, good);
    addSets(messages, good);
    addPairs(messages, good);
    addCrowds(messages, good);
    return messages;
}

}  // namespace eb::com::runtime::testing
