// A value, or another run of bytes, wherever it is kept: in pieces of memory and of files, as one.
#ifndef ORVKIT_MEDIA_STORED_VALUE_H
#define ORVKIT_MEDIA_STORED_VALUE_H

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "encoding/source.h"
#include "orvkit/buf.h"
#include "orvkit/frames.h"
#include "platform/file.h"

namespace orvkit {

// Files are closed when the last value that has bytes there goes.
using SharedFile = std::shared_ptr<const platform::FileHandle>;

// Its window, which looks at headers one behind the other, is one thread's; everything else may be used by
// several at once.
class StoredValue final : public FileSource {
  public:
    // Appends the bytes of a buffer, which must stay; a file that it names is opened, once for buffers of the
    // same name that follow each other. DIR_OPEN, DIR_READ_WRITE.
    int add(const DcBuf& buffer, const char* reporter);
    // Appends bytes of a file, as many as there are.
    void add(const SharedFile& file, std::uint64_t offset, std::uint64_t length);

    // Copies `into.size()` bytes from `at` on; gives how many there were, or -1.
    std::int64_t copy(std::uint64_t at, std::span<unsigned char> into) const;
    // Calls take(run) for each piece of [at, at + length), which the value must hold.
    template <typename Take>
    void eachRun(std::uint64_t at, std::uint64_t length, Take take) const {
        for (const Piece& piece : pieces_) {
            if (length == 0) return;
            if (at >= piece.begin + piece.length) continue;
            const std::uint64_t skip = at - piece.begin;
            const std::uint64_t here = std::min(length, piece.length - skip);
            const bool inMemory = piece.data != nullptr;
            take(DcFrameRun{inMemory ? piece.data + skip : nullptr, piece.handle,
                            inMemory ? at : piece.offset + skip, here});
            at += here;
            length -= here;
        }
    }

  private:
    struct Piece {
        std::uint64_t begin;  // in the value
        std::uint64_t length;
        const unsigned char* data;  // null for a file
        int handle;
        std::uint64_t offset;  // in the file
    };

    void append(const unsigned char* data, int handle, std::uint64_t offset, std::uint64_t length);
    std::int64_t readAt(std::uint64_t offset, unsigned char* into, std::size_t room) override {
        return copy(offset, {into, room});
    }

    std::vector<Piece> pieces_;
    std::vector<SharedFile> files_;
    const char* name_ = nullptr;  // of the last file, which its buffer keeps
};

}  // namespace orvkit

#endif
