#pragma once

#include <cstdint>
#include <mutex>
#include <vector>

namespace zvg::val::diag_ara::services {

/// Remembers a hash of the last value seen of each adaptation, to tell whether a value has changed.
///
/// Owned by the client, which keeps it as long as it lives, also while the service is away. Any thread, each
/// operation by itself: between a question and an update another scan may come, so two scans can find the
/// same change.
class AdaptionHashStore {
public:
    AdaptionHashStore() = default;
    virtual ~AdaptionHashStore() = default;
    AdaptionHashStore(AdaptionHashStore const&) = delete;
    AdaptionHashStore& operator=(AdaptionHashStore const&) = delete;

    bool hasAdaptionId(unsigned int adaptionId) const;

    /// Forgets every entry of that id.
    void removeAdaptionId(unsigned int adaptionId);

    /// 0 for an empty value. Leading zero bytes make no difference.
    static std::uint64_t createHash(std::vector<unsigned char> const& value);

    /// False for an unknown id.
    bool hasAdaptionIdWithSameHash(unsigned int adaptionId, std::vector<unsigned char> const& value) const;

    /// Sets the hash of every entry of that id; an unknown id stays unknown.
    void updateAdaptionId(unsigned int adaptionId, std::vector<unsigned char> const& value);

    /// Appends an entry, without looking for one of that id.
    void addAdaptionId(unsigned int adaptionId, std::vector<unsigned char> const& value);

    /// Sets the hash of the first entry of that id, or appends one.
    void addOrUpdateAdaptionIdIfNeeded(unsigned int adaptionId, std::vector<unsigned char> const& value);

private:
    struct Entry {
        std::uint32_t adaptionId;
        std::uint64_t hash;
    };

    /// The first entry of that id; null if there is none. With m_mutex held.
    Entry const* find(unsigned int adaptionId) const;

    mutable std::mutex m_mutex;
    std::vector<Entry> m_hashes;  // in order of insertion; guarded by m_mutex
};

}  // namespace zvg::val::diag_ara::services
