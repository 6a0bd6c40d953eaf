// The state of an upper layer (DcTul) while a message arrives, shared by its sources.
#ifndef ORVKIT_NETWORK_TUL_OWN_H
#define ORVKIT_NETWORK_TUL_OWN_H

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <span>
#include <vector>

#include "foundation/fail.h"
#include "network/pdu_access.h"
#include "network/pixel_search.h"
#include "network/reception.h"
#include "orvkit/tul.h"
#include "platform/file.h"

namespace orvkit {

inline constexpr const char* kAssembly = "DcTul::readPduDataTf";  // as reporter

// The syntax that was accepted for a presentation context; UID_NONE for none.
inline DICT_UID acceptedSyntax(unsigned char id, const unsigned char* presCtxIds, const DICT_UID* xferSyns) {
    for (int i = 0; id != 0 && i < PDU_PRES_CTX_MAX; ++i) {
        if (presCtxIds[i] == id) return xferSyns[i];
    }
    return UID_NONE;
}

inline int failContext(unsigned char id, unsigned char own) {
    return fail(TUL_PROTOCOL, LOG_ERROR, kAssembly,
                "Presentation Context ID %d within a message of %d, Association will be closed", id, own);
}

inline int failAppend(const char* reporter, const char* path) {
    return fail(TUL_APPEND, LOG_ERROR, reporter, "Failed to open file %s in append mode", path);
}

}  // namespace orvkit

// What becomes of Pixel Data while a data set arrives.
enum class DcTul::Pixels : unsigned char { stay, sought, found };

// The command or data set being put together.
struct DcTul::Part {
    using Clock = std::chrono::steady_clock;

    Part(DcPduDataTf& pdu, DICT_UID syntax) : message(pdu), xferSyn(syntax), search(syntax) {}

    DcPduDataTf& message;
    DICT_UID xferSyn;
    bool toSink = false;  // its bytes go to the data set callback
    Pixels pixels = Pixels::stay;
    std::uint64_t pixelLength = 0;
    orvkit::PixelSearch search;
    orvkit::platform::FileHandle file;         // the pixel data file, once opened
    Clock::time_point movedAt = Clock::now();  // when bytes were dealt with last
};

// What becomes of the values of one message while their PDUs arrive.
class DcTul::Sink final : public orvkit::DataSink {
  public:
    explicit Sink(DcTul& owner) : owner_(owner) {}

    // For the first PDU of a message: any accepted context.
    void begin(const unsigned char* presCtxIds, const DICT_UID* xferSyns) {
        presCtxIds_ = presCtxIds;
        xferSyns_ = xferSyns;
        presCtxId_ = 0;
        passes_ = owner_.dataSetCB_ != nullptr;
        refused_ = false;
        commandBytes_ = 0;
        keptBytes_ = 0;
    }
    // For the others: the message's own.
    void goOn(unsigned char presCtxId, DICT_UID xferSyn, bool passes) {
        presCtxId_ = presCtxId;
        xferSyn_ = xferSyn;
        passes_ = passes;
    }

    bool wants(unsigned char presCtxId) override {
        if (!passes_) return false;
        if (presCtxId_ != 0) return presCtxId == presCtxId_;
        xferSyn_ = orvkit::acceptedSyntax(presCtxId, presCtxIds_, xferSyns_);
        if (xferSyn_ != UID_NONE) presCtxId_ = presCtxId;
        return xferSyn_ != UID_NONE;
    }
    unsigned char presCtxId() const { return presCtxId_; }
    std::span<unsigned char> room() override {
        unsigned int size = 0;
        unsigned char* const room =
            owner_.roomCB_ != nullptr ? owner_.roomCB_(owner_.dataSetUser_, &size) : nullptr;
        if (room != nullptr && size > 0) return {room, size};
        buffer_.resize(kPiece);
        return buffer_;
    }
    int take(std::span<const unsigned char> piece) override {
        return owner_.toCallback(piece.data(), static_cast<unsigned int>(piece.size()), xferSyn_, false);
    }

    int admit(Of what, bool kept, unsigned int length) override {
        int result = RESULT_OK;
        if (what == Of::command) {
            result = admitCommand(length);
        } else {
            if (what == Of::dataSet) result = checkAsked();
            if (result == RESULT_OK && kept) result = admitKept(length);
        }
        refused_ = result != RESULT_OK;
        return result;
    }
    // Whether the data set that comes now was asked for.
    int checkAsked() const {
        if (!owner_.dataSetCheck_ || owner_.dataSetExpected_) return RESULT_OK;
        return orvkit::fail(TUL_PROTOCOL, LOG_ERROR, orvkit::kAssembly,
                            "Data set received that was not asked for, Association will be closed");
    }
    bool refused() const { return refused_; }
    // Bytes that were kept have gone elsewhere.
    void letGo(unsigned int length) { keptBytes_ -= std::min<std::uint64_t>(keptBytes_, length); }

  private:
    // A command ends, and is small.
    int admitCommand(unsigned int length) {
        commandBytes_ += length;
        if (commandBytes_ <= kLargest) return RESULT_OK;
        return orvkit::fail(TUL_PROTOCOL, LOG_ERROR, orvkit::kAssembly,
                            "Command of more than %u bytes received, Association will be closed", kLargest);
    }
    int admitKept(unsigned int length) {
        const std::uint64_t limit = owner_.reception().limit;
        keptBytes_ += length;
        if (limit == 0 || keptBytes_ <= limit) return RESULT_OK;
        return orvkit::fail(TUL_PROTOCOL, LOG_ERROR, orvkit::kAssembly,
                            "Data set of more than %llu bytes received, Association will be closed",
                            static_cast<unsigned long long>(limit));
    }

    static constexpr unsigned int kLargest = 1u << 20;  // of a command: far above any (PS3.7 annex E)
    static constexpr std::size_t kPiece = 65536;        // stays in the processor's cache

    DcTul& owner_;
    const unsigned char* presCtxIds_ = nullptr;
    const DICT_UID* xferSyns_ = nullptr;
    unsigned char presCtxId_ = 0;
    DICT_UID xferSyn_ = UID_NONE;
    bool passes_ = false;  // to the callback
    bool refused_ = false;
    std::uint64_t commandBytes_ = 0;
    std::uint64_t keptBytes_ = 0;
    std::vector<unsigned char> buffer_;
};

#endif
