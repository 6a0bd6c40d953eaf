// The one way in which bytes from outside are touched: a bounds-checked reader and writer with the byte
// order as a parameter. A read past the end gives zero and marks the reader as failed; it never touches
// memory it was not given.
#ifndef ORVKIT_FOUNDATION_BYTES_H
#define ORVKIT_FOUNDATION_BYTES_H

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>

namespace orvkit {

enum class ByteOrder : unsigned char { little, big };

template <typename T>
constexpr T byteSwap(T v) noexcept {
    if constexpr (sizeof(T) == 1) {
        return v;
    } else if constexpr (sizeof(T) == 2) {
        return static_cast<T>(static_cast<std::uint16_t>((v >> 8) | (v << 8)));
    } else if constexpr (sizeof(T) == 4) {
        return static_cast<T>(__builtin_bswap32(static_cast<std::uint32_t>(v)));
    } else {
        return static_cast<T>(__builtin_bswap64(static_cast<std::uint64_t>(v)));
    }
}

// Reads and writes at an address that the caller has already checked.
template <typename T>
inline T loadAt(const unsigned char* p, ByteOrder order) noexcept {
    T v;
    std::memcpy(&v, p, sizeof v);
    const bool swap = (order == ByteOrder::big) != (std::endian::native == std::endian::big);
    return swap ? byteSwap(v) : v;
}

template <typename T>
inline void storeAt(unsigned char* p, T v, ByteOrder order) noexcept {
    const bool swap = (order == ByteOrder::big) != (std::endian::native == std::endian::big);
    if (swap) v = byteSwap(v);
    std::memcpy(p, &v, sizeof v);
}

// Reverses the bytes of each whole unit of 2, 4 or 8; of any other, nothing.
inline void swapUnits(std::span<unsigned char> bytes, unsigned int unit) noexcept {
    const auto swapAll = [bytes](auto zero) {
        using T = decltype(zero);
        for (std::size_t at = 0; at + sizeof(T) <= bytes.size(); at += sizeof(T)) {
            storeAt(bytes.data() + at, loadAt<T>(bytes.data() + at, ByteOrder::big), ByteOrder::little);
        }
    };
    switch (unit) {
        case 2:
            return swapAll(std::uint16_t{});
        case 4:
            return swapAll(std::uint32_t{});
        case 8:
            return swapAll(std::uint64_t{});
        default:
            return;
    }
}

class ByteReader {
  public:
    ByteReader(std::span<const unsigned char> bytes, ByteOrder order) noexcept
        : bytes_(bytes), order_(order) {}

    std::size_t offset() const noexcept { return at_; }
    std::size_t remaining() const noexcept { return bytes_.size() - at_; }
    bool failed() const noexcept { return failed_; }
    ByteOrder order() const noexcept { return order_; }
    void setOrder(ByteOrder order) noexcept { order_ = order; }

    std::uint8_t u8() noexcept { return take<std::uint8_t>(); }
    std::uint16_t u16() noexcept { return take<std::uint16_t>(); }
    std::uint32_t u32() noexcept { return take<std::uint32_t>(); }

    // The next n bytes, or an empty span (and a failed reader) when there are fewer.
    std::span<const unsigned char> bytes(std::size_t n) noexcept {
        if (n > remaining()) return fail();
        const auto s = bytes_.subspan(at_, n);
        at_ += n;
        return s;
    }
    void skip(std::size_t n) noexcept { (void)bytes(n); }
    std::span<const unsigned char> rest() const noexcept { return bytes_.subspan(at_); }

  private:
    std::span<const unsigned char> fail() noexcept {
        failed_ = true;
        at_ = bytes_.size();
        return {};
    }
    template <typename T>
    T take() noexcept {
        if (remaining() < sizeof(T)) {
            fail();
            return 0;
        }
        const T v = loadAt<T>(bytes_.data() + at_, order_);
        at_ += sizeof(T);
        return v;
    }

    std::span<const unsigned char> bytes_;
    std::size_t at_ = 0;
    ByteOrder order_;
    bool failed_ = false;
};

class ByteWriter {
  public:
    ByteWriter(std::span<unsigned char> room, ByteOrder order) noexcept : room_(room), order_(order) {}

    std::size_t offset() const noexcept { return at_; }
    std::size_t room() const noexcept { return room_.size() - at_; }
    bool failed() const noexcept { return failed_; }
    ByteOrder order() const noexcept { return order_; }
    void setOrder(ByteOrder order) noexcept { order_ = order; }

    void u8(std::uint8_t v) noexcept { put(v); }
    void u16(std::uint16_t v) noexcept { put(v); }
    void u32(std::uint32_t v) noexcept { put(v); }
    void bytes(const void* data, std::size_t n) noexcept {
        if (n > room()) {
            failed_ = true;
            return;
        }
        if (n != 0) std::memcpy(room_.data() + at_, data, n);
        at_ += n;
    }
    // The room of the next n bytes, which the caller fills; null when there is none.
    unsigned char* take(std::size_t n) noexcept {
        if (n > room()) {
            failed_ = true;
            return nullptr;
        }
        at_ += n;
        return room_.data() + at_ - n;
    }
    void fill(unsigned char value, std::size_t n) noexcept {
        if (n > room()) {
            failed_ = true;
            return;
        }
        if (n != 0) std::memset(room_.data() + at_, value, n);
        at_ += n;
    }
    // Overwrites a field written before: the reserve-then-fill way to write a length.
    void patchU16(std::size_t where, std::uint16_t v) noexcept { patch(where, v); }
    void patchU32(std::size_t where, std::uint32_t v) noexcept { patch(where, v); }

  private:
    template <typename T>
    void put(T v) noexcept {
        if (sizeof(T) > room()) {
            failed_ = true;
            return;
        }
        storeAt(room_.data() + at_, v, order_);
        at_ += sizeof(T);
    }
    template <typename T>
    void patch(std::size_t where, T v) noexcept {
        if (where > at_ || sizeof(T) > at_ - where) {
            failed_ = true;
            return;
        }
        storeAt(room_.data() + where, v, order_);
    }

    std::span<unsigned char> room_;
    std::size_t at_ = 0;
    ByteOrder order_;
    bool failed_ = false;
};

}  // namespace orvkit

#endif
