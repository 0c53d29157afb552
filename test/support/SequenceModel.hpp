/// @file
/// A simple model of a sequence, for comparison with the real one: what the record must hold after each operation, and
/// what the operation must answer. It has no buffers, only a list of places whose content is known or not.
///
/// Protection: none; each sequence under test has one.
#ifndef SEQUENCE_MODEL_HPP
#define SEQUENCE_MODEL_HPP

#include <algorithm>
#include <cstdint>
#include <optional>
#include <vector>

struct SequenceModel {
    /// Element number in a place, or nothing when the place has never been written.
    using Place = std::optional<int>;
    /// Where the places are.
    enum class Layout { none, owned, contiguousLoan, discontiguousLoan };

    bool isInitialized = false;
    bool isOwned = true;
    Layout layout = Layout::none;
    std::vector<Place> places;  ///< As many as the capacity, unless the caller only claims to have them.
    std::uint32_t maximum = 0;
    std::uint32_t length = 0;
    std::uint32_t absoluteMaximum = 0;
    bool canAllocate = false;
    int parameters[5] = {};  ///< allocate pointers, optional members, memory; delete pointers, optional members.
    int tokens[2] = {};

    /// The heap as the operation finds it.
    struct Heap {
        bool isOutOfMemory;
        std::uint64_t elementSize;
        bool canHold(std::uint32_t count) const { return !isOutOfMemory && count * elementSize < INT32_MAX; }
    };

    void initialize()
    {
        *this = SequenceModel{};
        isInitialized = true;
        absoluteMaximum = INT32_MAX;
        const int initial[5] = {1, 0, 1, 1, 1};
        std::copy_n(initial, 5, parameters);
    }

    void use()
    {
        if (!isInitialized) initialize();
    }

    bool setMaximum(std::int32_t newMaximum, const Heap &heap)
    {
        use();
        if (parameters[2] == 0 || newMaximum < 0 || !isOwned) return false;
        const auto wanted = static_cast<std::uint32_t>(newMaximum);
        if (wanted > absoluteMaximum) return false;
        if (wanted == maximum) return true;
        if (wanted > 0 && !heap.canHold(wanted)) return false;
        places.resize(wanted);
        length = std::min(length, wanted);
        // A fresh buffer: only elements are carried over, and what lies behind them is zero.
        for (std::uint32_t i = length; i < wanted; ++i) places[i] = 0;
        maximum = wanted;
        layout = wanted > 0 ? Layout::owned : Layout::none;
        return true;
    }

    bool setAbsoluteMaximum(std::int32_t newAbsoluteMaximum)
    {
        use();
        if (maximum > static_cast<std::uint32_t>(newAbsoluteMaximum)) return false;
        absoluteMaximum = static_cast<std::uint32_t>(newAbsoluteMaximum);
        return true;
    }

    bool setLength(std::uint32_t newLength, const Heap &heap)
    {
        use();
        if (newLength > INT32_MAX || newLength > absoluteMaximum) return false;
        if (newLength > maximum && !setMaximum(static_cast<std::int32_t>(newLength), heap)) return false;
        length = newLength;
        return true;
    }

    bool ensureLength(std::int32_t newLength, std::int32_t newMaximum, const Heap &heap)
    {
        if (newLength > newMaximum) return false;
        use();
        if (newLength > static_cast<std::int32_t>(maximum) && !setMaximum(newMaximum, heap)) return false;
        return setLength(static_cast<std::uint32_t>(newLength), heap);
    }

    bool lend(Layout newLayout, bool hasBuffer, std::int32_t newLength, std::int32_t newMaximum,
              const std::vector<Place> &callersPlaces)
    {
        use();
        if (maximum != 0 || newLength < 0 || newMaximum < 0 || newLength > newMaximum) return false;
        if (newMaximum > 0 && !hasBuffer) return false;
        if (static_cast<std::uint32_t>(newMaximum) > absoluteMaximum) return false;
        isOwned = false;
        layout = hasBuffer ? newLayout : Layout::none;
        maximum = static_cast<std::uint32_t>(newMaximum);
        length = static_cast<std::uint32_t>(newLength);
        places = callersPlaces;
        return true;
    }

    bool unloan()
    {
        use();
        if (isOwned) return false;
        isOwned = true;
        layout = Layout::none;
        maximum = length = 0;
        places.clear();
        return true;
    }

    std::uint32_t lengthAsSource() const { return isInitialized ? length : 0; }

    bool copyWithoutAllocation(const SequenceModel &source)
    {
        use();
        const std::uint32_t count = source.lengthAsSource();
        if (maximum < count) return false;
        std::copy_n(source.places.begin(), count, places.begin());
        length = count;
        return true;
    }

    bool copy(const SequenceModel &source, const Heap &heap)
    {
        use();
        if (maximum < source.lengthAsSource() && !setMaximum(static_cast<std::int32_t>(source.maximum), heap))
            return false;
        return copyWithoutAllocation(source);
    }
};

#endif
