#include "tools/tester/doip/FrameReader.h"

#include <algorithm>

namespace tester::doip {

namespace {

/// The first bytes, at most so many, which `bytes` loses.
Bytes takeFront(Bytes& bytes, std::size_t atMost) {
    Bytes const front = bytes.first(std::min(bytes.size(), atMost));
    bytes = bytes.subspan(front.size());
    return front;
}

}  // namespace

std::optional<Frame> FrameReader::next(Bytes& bytes) {
    while (!m_ended) {
        m_skip -= static_cast<std::uint32_t>(takeFront(bytes, m_skip).size());
        if (m_skip != 0) break;
        if (m_open) {
            append(m_frame.payload, takeFront(bytes, m_frame.header.length - m_frame.payload.size()));
            if (m_frame.payload.size() < m_frame.header.length) break;
            m_open = false;
            return std::move(m_frame);
        }
        Bytes const part = takeFront(bytes, HEADER_SIZE - m_headerSize);
        std::copy(part.begin(), part.end(), m_header.begin() + std::ptrdiff_t(m_headerSize));
        m_headerSize += part.size();
        if (m_headerSize < HEADER_SIZE) break;
        m_headerSize = 0;
        if (auto frame = judge()) return frame;
    }
    return {};
}

/// Gives a frame that has no payload, or is refused.
std::optional<Frame> FrameReader::judge() {
    Header const header = readHeader(m_header);
    auto refused = judgeHeader(header, Carrier::tcp);
    if (!refused && isIgnored(header, Carrier::tcp)) {
        m_skip = header.length;
        return {};
    }
    Store::Loan loan;
    if (!refused && header.length > OWN_MEMORY) {
        auto granted = m_store.lend(header.length);
        if (granted) loan = std::move(*granted);
        if (!granted) refused = HeaderNack::outOfMemory;
    }
    if (!refused && !lengthSuits(header)) refused = HeaderNack::invalidLength;
    if (refused) {
        m_ended = endsConnection(*refused);
        m_skip = header.length;
        return Frame{m_header, header, {}, refused, {}};
    }
    Frame frame{m_header, header, {}, {}, std::move(loan)};
    if (header.length == 0) return frame;
    frame.payload.reserve(header.length);
    m_frame = std::move(frame);
    m_open = true;
    return {};
}

}  // namespace tester::doip
