#include "services/transcode.h"

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <utility>
#include <vector>

#include "foundation/fail.h"
#include "orvkit/dict.h"
#include "orvkit/frames.h"
#include "orvkit/keywords.h"
#include "orvkit/result.h"
#include "orvkit/sequence.h"
#include "platform/file.h"
#include "services/elements.h"
#include "services/image_attributes.h"
#include "services/in_order.h"
#include "services/report.h"

namespace services {
namespace {

namespace platform = orvkit::platform;

using Bytes = std::vector<unsigned char>;
using Write = std::function<bool(const Bytes&)>;

constexpr const char* kNative = "1.2.840.10008.1.2.1";
constexpr std::string_view kJpeg = "1.2.840.10008.1.2.4.50";
constexpr std::string_view kJpegXlOfJpeg = "1.2.840.10008.1.2.4.111";
constexpr std::uint64_t kMostOffset = 0xFFFFFFFF;  // that a Basic Offset Table can tell

void putLong(Bytes& bytes, std::size_t at, std::uint64_t value) {
    for (unsigned int i = 0; i < 4; ++i) bytes[at + i] = static_cast<unsigned char>(value >> (8 * i));
}

Bytes itemHeader(std::uint64_t length) {
    Bytes header{0xFE, 0xFF, 0x00, 0xE0, 0, 0, 0, 0};
    putLong(header, 4, length);
    return header;
}

// What one frame has become.
struct Way {
    Bytes bytes;
    DcImageResult unpacked;
    DcImageResult packed;
    std::string fault;
};

// What a thread needs on the way: a frame as it is stored, and unpacked where it is packed again.
struct Desk {
    Bytes stored;
    Bytes pixels;
};

// Each of two pixels with the colours that both had: Y1 Y2 Cb Cr (PS3.3 C.7.6.3.1.2) to YBR_FULL.
Bytes withWholeColours(const Bytes& halved) {
    Bytes whole;
    whole.reserve(halved.size() / 2 * 3);
    for (std::size_t i = 0; i + 4 <= halved.size(); i += 4) {
        for (const std::size_t brightness : {i, i + 1}) {
            whole.insert(whole.end(), {halved[brightness], halved[i + 2], halved[i + 3]});
        }
    }
    return whole;
}

// The frames of one element of pixel data.
class FrameTurner {
  public:
    FrameTurner(DcElemList& dataset, const std::string& source, const TranscodeRequest& request)
        : dataset_(dataset), source_(source), request_(request), says_(pixelsOf(dataset)) {}

    // False where there are no pixels; fault() tells where they cannot be read.
    bool open() {
        const int result = frames_.open(dataset_);
        if (result == FRAMES_NO_PIXELS) return false;
        if (result != RESULT_OK) return fail(resultText(result));
        encapsulated_ = frames_.foundBy() != FRAMES_BY_LAYOUT;
        uid_ = encapsulated_ ? source_ : kNative;
        repacks_ = (uid_ == kJpeg && isTarget(kJpegXlOfJpeg)) || (uid_ == kJpegXlOfJpeg && isTarget(kJpeg));
        const DcElem* pixels = elementOf(dataset_, DcTag::PixelData);
        if (pixels == nullptr) return false;
        if (!encapsulated_ && says_.photometric == DcPhotometric::ybrFull422 && says_.bitsAllocated == 8 &&
            says_.samples == 3 && says_.columns % 2 == 0) {
            isHalved_ = true;
            says_.photometric = DcPhotometric::ybrFull;
            says_.planar = false;
        }
        wordsTurned_ = frames_.xferSyn() == UID_BIG_ENDIAN_EXPLICIT && pixels->getVr() == VR_OW;
        return true;
    }
    bool encapsulated() const { return encapsulated_; }
    unsigned int count() const { return frames_.count(); }
    const std::string& fault() const { return fault_; }

    // Each frame in its order, while `jobs` of them are under way.
    bool run(const std::function<bool(Way&)>& take) {
        InOrder<Way, Desk> ways(count(), request_.jobs, [this](unsigned int number, Desk& desk, Way& way) {
            turn(number, desk, way);
        });
        for (unsigned int number = 1; number <= count(); ++number) {
            Way& way = ways.next();
            if (!way.fault.empty()) return fail("frame " + std::to_string(number) + ": " + way.fault);
            if (!take(way))
                return fail(std::string("a temporary file cannot be written: ") + std::strerror(errno));
        }
        return true;
    }

  private:
    bool fail(const std::string& why) {
        fault_ = why;
        return false;
    }
    bool isTarget(std::string_view uid) const {
        return request_.target != nullptr && request_.target->uid == uid;
    }

    void turn(unsigned int number, Desk& desk, Way& way) const {
        way.fault.clear();
        if (!read(number, desk.stored, way)) return;
        if (repacks_) return repack(desk.stored, way);
        Bytes& pixels = request_.target == nullptr ? way.bytes : desk.pixels;
        pixels.resize(static_cast<std::size_t>(imageFrameBytes(says_)));
        const Bytes& stored = desk.stored;
        const int code = imageDecodeFrame(uid_.c_str(), says_, stored.data(), stored.size(), pixels.data(),
                                          pixels.size(), &way.unpacked);
        way.packed = way.unpacked;
        if (code != RESULT_OK) return tell(way.unpacked, way);
        if (request_.target == nullptr) return;
        way.bytes.clear();
        if (imageEncodeFrame(request_.target->uid, way.unpacked.pixels, pixels.data(), pixels.size(),
                             request_.options, way.bytes, &way.packed) != RESULT_OK) {
            tell(way.packed, way);
        }
    }
    void repack(const Bytes& stored, Way& way) const {
        way.bytes.clear();
        way.unpacked.pixels = says_;
        way.unpacked.lossy = true;
        const int code = imageRepackJpeg(stored.data(), stored.size(), uid_ == kJpeg, way.bytes, &way.packed);
        way.packed.pixels = says_;
        if (code != RESULT_OK) tell(way.packed, way);
    }
    static void tell(const DcImageResult& result, Way& way) { way.fault = result.text; }

    bool read(unsigned int number, Bytes& bytes, Way& way) const {
        DcFrame frame;
        int result = frames_.find(number, frame);
        const unsigned long long wanted = imageFrameBytes(says_) / (isHalved_ ? 3 : 1) * (isHalved_ ? 2 : 1);
        if (result == RESULT_OK && !encapsulated_ && frame.length != wanted) {
            way.fault =
                std::to_string(frame.length) + " bytes, where the data set says " + std::to_string(wanted);
            return false;
        }
        // The first look at it: what the header tells before there is room for the frame.
        if (result == RESULT_OK) {
            bytes.resize(static_cast<std::size_t>(frame.length));
            unsigned long long length = 0;
            result = frames_.read(number, bytes.data(), bytes.size(), length);
        }
        if (result != RESULT_OK) {
            way.fault = resultText(result);
            return false;
        }
        if (wordsTurned_) {
            for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) std::swap(bytes[i], bytes[i + 1]);
        }
        if (isHalved_) bytes = withWholeColours(bytes);
        DcImageResult looked;
        if (repacks_ ||
            imageCheckFrame(uid_.c_str(), says_, bytes.data(), bytes.size(), &looked) == RESULT_OK) {
            return true;
        }
        way.fault = looked.text;
        return false;
    }

    DcElemList& dataset_;
    const std::string& source_;
    const TranscodeRequest& request_;
    DcImagePixels says_;
    DcFrames frames_;
    std::string uid_;
    bool encapsulated_ = false;
    bool repacks_ = false;
    bool isHalved_ = false;     // two pixels to each pair of colours: no codec takes them so
    bool wordsTurned_ = false;  // OW of the other byte order, whatever a sample is
    std::string fault_;
};

void replacePixels(DcElemList& dataset, DcBuf& value, bool native, unsigned int bitsAllocated) {
    auto element = std::make_unique<DcElem>(DcTag::PixelData, nullptr, 0, UID_NONE,
                                            native && bitsAllocated > 8 ? VR_OW : VR_OB, 0);
    orvkit::needMemory(element->addValue(&value));
    drop(dataset, DcTag::PixelData);
    dataset.add(element.release());
}

// What the frames have become together.
struct Outcome {
    PixelChange change;
    std::uint64_t written = 0;
    std::uint64_t nativeBytes = 0;

    void take(const Way& way, const DcImageCodec* target) {
        change.pixels = way.packed.pixels;
        change.everLossy |= way.unpacked.lossy || way.packed.lossy;
        if (way.packed.lossy && target != nullptr && std::string_view(target->uid) != kJpegXlOfJpeg &&
            !target->lossless) {
            change.lossyCodec = target;
        }
        nativeBytes += imageFrameBytes(way.packed.pixels);
    }
};

// The value of the new element: native frames one behind another, or a table of offsets and an item a frame.
class ValueWriter {
  public:
    ValueWriter(int handle, unsigned int frames, bool native, const DcImagePixels& pixels)
        : handle_(handle), native_(native) {
        if (native && pixels.bitsAllocated == 1)
            frameBits_ = std::size_t{pixels.rows} * pixels.columns * pixels.samples;
        if (native) return;
        // Where frames may lie beyond what its offsets can tell, the table in front stays empty, and two
        // elements beside the value have it (PS3.5 A.4, PS3.3 C.7.6.3).
        isLong_ = frames > 1 && imageFrameBytes(pixels) * frames > kMostOffset;
        const std::size_t length = frames > 1 && !isLong_ ? 4 * std::size_t{frames} : 0;
        table_ = itemHeader(length);
        table_.resize(8 + length);
    }
    bool begin() { return write(table_); }
    bool frame(Bytes& bytes) {
        if (frameBits_ > 0) return writeBits(bytes);
        if (native_) return write(bytes);
        const std::uint64_t offset = written_ - table_.size();
        if (table_.size() > 8) {
            if (offset > kMostOffset) return errno = EFBIG, false;
            putLong(table_, 8 + 4 * index_++, offset);
        }
        if (isLong_) {
            offsets_.push_back(offset);
            lengths_.push_back(bytes.size());
        }
        if (bytes.size() % 2 != 0) bytes.push_back(0);
        return write(itemHeader(bytes.size())) && write(bytes);
    }
    bool finish() {
        if (bits_ > 0 && !write(Bytes{rest_})) return false;
        if (native_) return written_ % 2 == 0 || write(Bytes(1));
        return platform::seek(handle_, 0) && platform::writeAll(handle_, table_.data(), table_.size());
    }
    std::uint64_t written() const { return written_; }
    void putLongTables(DcElemList& dataset) const {
        if (!isLong_) return;
        const auto add = [&dataset](unsigned int tag, const std::vector<unsigned long long>& table) {
            auto element = std::make_unique<DcElem>(tag, nullptr, 0, UID_NONE, VR_OV, 0);
            constexpr bool little = std::endian::native == std::endian::little;
            orvkit::needMemory(
                element->addValue(table.data(), static_cast<unsigned int>(8 * table.size()),
                                  little ? UID_LITTLE_ENDIAN_EXPLICIT : UID_BIG_ENDIAN_EXPLICIT));
            dataset.add(element.release());
        };
        add(DcTag::ExtendedOffsetTable, offsets_);
        add(DcTag::ExtendedOffsetTableLengths, lengths_);
    }

  private:
    // Frames of one bit a pixel follow each other without a gap, from the lowest bit (PS3.5 8.1.1).
    bool writeBits(const Bytes& frame) {
        Bytes whole;
        std::size_t left = frameBits_;
        for (const unsigned char byte : frame) {
            const std::size_t taken = std::min<std::size_t>(left, 8);
            const unsigned int joined = rest_ | (byte & ((1u << taken) - 1)) << bits_;
            left -= taken;
            bits_ += static_cast<unsigned int>(taken);
            rest_ = static_cast<unsigned char>(joined);
            if (bits_ < 8) continue;
            whole.push_back(rest_);
            rest_ = static_cast<unsigned char>(joined >> 8);
            bits_ -= 8;
        }
        return write(whole);
    }
    bool write(const Bytes& bytes) {
        written_ += bytes.size();
        return platform::writeAll(handle_, bytes.data(), bytes.size());
    }

    int handle_;
    bool native_;
    Bytes table_;
    std::size_t index_ = 0;
    bool isLong_ = false;
    std::vector<unsigned long long> offsets_;
    std::vector<unsigned long long> lengths_;
    std::uint64_t written_ = 0;
    std::size_t frameBits_ = 0;  // of one bit a pixel; otherwise 0
    unsigned char rest_ = 0;     // bits that fill no byte yet,
    unsigned int bits_ = 0;      // and how many
};

// Encapsulated pixels in sequences become native, in memory.
std::string unpackNested(DcElemList& dataset, const std::string& source) {
    for (DcElem* element = dataset.first(); element != nullptr; element = element->next()) {
        auto* sequence = dynamic_cast<DcElemSq*>(element);
        if (sequence == nullptr) continue;
        for (DcElemSqItem* item = sequence->first(); item != nullptr; item = item->next()) {
            DcElemList& list = item->getElemList();
            if (std::string fault = unpackNested(list, source); !fault.empty()) return fault;
            const TranscodeRequest native;
            Outcome outcome;
            Bytes all;
            {
                FrameTurner turner(list, source, native);
                if (!turner.open() || !turner.encapsulated()) {
                    if (!turner.fault().empty()) return turner.fault();
                    continue;
                }
                const auto take = [&](const Way& way) {
                    outcome.take(way, nullptr);
                    all.insert(all.end(), way.bytes.begin(), way.bytes.end());
                    return true;
                };
                if (!turner.run(take)) return "pixel data in a sequence: " + turner.fault();
            }
            if (all.size() % 2 != 0) all.push_back(0);
            auto block = std::make_unique<unsigned char[]>(all.size());
            std::copy(all.begin(), all.end(), block.get());
            DcBuf value(block.release(), static_cast<unsigned int>(all.size()), UID_LITTLE_ENDIAN_EXPLICIT);
            replacePixels(list, value, true, outcome.change.pixels.bitsAllocated);
            (void)tellChange(list, outcome.change);
        }
    }
    return "";
}

}  // namespace

std::string transcode(DcElemList& dataset, const std::string& source, const TranscodeRequest& request,
                      platform::ScratchFile& scratch, std::string& instance) {
    if (std::string fault = unpackNested(dataset, source); !fault.empty()) return fault;
    Outcome outcome;
    std::optional<ValueWriter> writer;
    {
        FrameTurner turner(dataset, source, request);
        if (!turner.open()) return turner.fault();
        if (!turner.encapsulated() && request.target == nullptr) return "";
        const bool native = request.target == nullptr;
        writer.emplace(scratch.forWriting(), turner.count(), native, pixelsOf(dataset));
        const auto take = [&](Way& way) {
            outcome.take(way, request.target);
            return writer->frame(way.bytes);
        };
        if (!writer->begin() || !turner.run(take) || !writer->finish()) {
            return turner.fault().empty() ? std::strerror(errno) : turner.fault();
        }
        outcome.written = writer->written();
    }
    DICT_UID syntax = UID_LITTLE_ENDIAN_EXPLICIT;
    if (request.target != nullptr) (void)Dict.getUidDef(request.target->uid, syntax);
    DcBuf value(scratch.takeReading().release(), 0, 0, syntax);
    (void)value.setPlace64(0, outcome.written);
    replacePixels(dataset, value, request.target == nullptr, outcome.change.pixels.bitsAllocated);
    outcome.change.ratio = static_cast<double>(outcome.nativeBytes) / static_cast<double>(outcome.written);
    instance = tellChange(dataset, outcome.change);
    writer->putLongTables(dataset);
    return "";
}

}  // namespace services
