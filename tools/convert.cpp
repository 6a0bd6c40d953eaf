// orvkit convert: the same data set in another transfer syntax.
//
// Between implicit and explicit little endian the pixel data stays in its file and is copied from there to
// the new one. Every other change touches the pixels and works in memory.
#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "dictionary/syntax_table.h"
#include "orvkit/dict.h"
#include "orvkit/elemlist.h"
#include "orvkit/file.h"
#include "orvkit/result.h"
#include "orvkit/sequence.h"
#include "orvkit/tags.h"
#include "services/paths.h"
#include "services/report.h"
#include "services/whole_file.h"
#include "tools/commands.h"

namespace tools {
namespace {

namespace fs = std::filesystem;

constexpr unsigned int metaOffset = 132;  // preamble and "DICM"
constexpr unsigned int pixelData = T_7fe0_0010_pixelData;

// One conversion. Every step answers whether to go on; the one that fails has said why.
class Conversion {
  public:
    Conversion(std::string in, std::string out, DICT_UID target)
        : in_(std::move(in)), out_(std::move(out)), target_(target) {}

    bool run() { return readMeta() && readDataset() && changePixels() && write(); }

  private:
    bool fail(const std::string& why) const {
        complain("%s: %s; nothing was written", in_.c_str(), why.c_str());
        return false;
    }

    // ---- reading ----
    bool readMeta();
    void registerUnknownClass();
    std::string metaText(unsigned int tag);
    bool readDataset();
    bool readAroundPixels();
    bool attachPixels(int offset, unsigned int length);
    bool readBehindPixels(std::uint64_t offset);
    bool parsed(int result) const;
    static void tellFault(void* context, const DcElemFault& fault);

    // ---- changing and writing ----
    bool changePixels();
    bool unpackLzw();
    bool packLzw();
    bool reencodeExplicit();
    bool write();

    std::string in_;
    std::string out_;
    DICT_UID target_;
    DICT_UID source_ = UID_NONE;
    DcDirMetaInfo meta_;
    DcElemList dataset_;
    std::unique_ptr<DcElemList> reencoded_;  // stands for dataset_ once it is there
    unsigned int streamOffset_ = 0;          // file offset of the bytes that are being parsed
    int faults_ = 0;

    DcElemList& dataset() { return reencoded_ ? *reencoded_ : dataset_; }
};

bool holdsPixelData(DcElemList& list) {
    for (DcElem* element = list.first(); element != nullptr; element = element->next()) {
        unsigned int tag = 0;
        element->getTag(tag);
        if (tag == pixelData) return true;
        auto* sequence = dynamic_cast<DcElemSq*>(element);
        if (sequence == nullptr) continue;
        for (DcElemSqItem* item = sequence->first(); item != nullptr; item = item->next()) {
            if (holdsPixelData(item->getElemList())) return true;
        }
    }
    return false;
}

std::vector<char> readBytes(const std::string& path, std::uint64_t offset, std::uint64_t length) {
    std::vector<char> bytes;
    std::ifstream file(pathOf(path), std::ios::binary);
    file.seekg(static_cast<std::streamoff>(offset));
    if (!file || length > bytes.max_size()) return bytes;
    bytes.resize(static_cast<std::size_t>(length));
    file.read(bytes.data(), static_cast<std::streamsize>(length));
    bytes.resize(static_cast<std::size_t>(std::max<std::streamsize>(file.gcount(), 0)));
    return bytes;
}

std::string tagText(unsigned int tag) {
    char text[16];
    std::snprintf(text, sizeof text, "(%04X,%04X)", tag >> 16, tag & 0xFFFF);
    return text;
}

// ---- reading ----------------------------------------------------------------------------------------------

void Conversion::tellFault(void* context, const DcElemFault& fault) {
    constexpr int shown = 10;
    auto& self = *static_cast<Conversion*>(context);
    if (++self.faults_ > shown) return;
    std::string path;
    for (int i = 0; i < fault.pathLength; ++i) {
        path += i % 2 == 0 ? tagText(fault.path[i]) : "[" + std::to_string(fault.path[i]) + "]";
    }
    complain("%s: %s at offset %llu: %s", self.in_.c_str(), path.c_str(),
             static_cast<unsigned long long>(self.streamOffset_) + fault.offset, fault.text);
}

bool Conversion::readMeta() {
    std::error_code error;
    if (!fs::exists(pathOf(in_), error)) return fail(std::strerror(ENOENT));
    if (!fs::is_regular_file(pathOf(in_), error)) return fail("not a regular file");
    const int result = dirReadFileMetaInfo(in_.c_str(), meta_, streamOffset_);
    if (result != RESULT_OK) return fail(resultText(result));
    source_ = meta_.transferSyntax;
    if (source_ == UID_NONE) {
        return fail("the transfer syntax '" + metaText(T_0002_0010_transferSyntaxUid) + "' is not known");
    }
    if (source_ == UID_DEFLATED_LITTLE_ENDIAN_EXPLICIT) return fail("deflated files cannot be read yet");
    if (meta_.sopClassUid == UID_MEDIA_STORAGE_DIR_STORAGE) {
        return fail("a DICOMDIR cannot be converted: its records refer to each other by byte offset");
    }
    if (meta_.sopClassUid == UID_NONE) registerUnknownClass();
    return true;
}

// A SOP class that came after the dictionary has no number in it, and the record of the meta information
// holds a number: it is added for this run.
void Conversion::registerUnknownClass() {
    const std::string uid = metaText(T_0002_0002_mediaStorageSopClassUid);
    if (!uid.empty()) Dict.add(uid.c_str(), "SOP class of the file", nullptr, UID_TYPE_SOP);
}

std::string Conversion::metaText(unsigned int tag) {
    std::vector<char> bytes = readBytes(in_, metaOffset, streamOffset_ - metaOffset);
    DcElemList group(bytes.data(), static_cast<unsigned int>(bytes.size()), UID_LITTLE_ENDIAN_EXPLICIT);
    char text[65] = "";
    group.getValue(tag, text, 64);
    return text;
}

bool Conversion::readDataset() {
    elemListRegisterFaultCB(this, tellFault);
    muteLog();
    const bool read = orvkit::isLittleNative(source_) && orvkit::isLittleNative(target_)
                          ? readAroundPixels()
                          : parsed(dirReadFile(in_.c_str(), meta_, dataset_));
    muteLog(false);
    elemListRegisterFaultCB(nullptr, nullptr);
    if (read && Dict.isEncapsulated(source_) != 0 && source_ != UID_ORVKIT5_LZW && holdsPixelData(dataset_)) {
        return fail("pixel data encapsulated as " + describeUid(source_) + " cannot be changed");
    }
    if (read && (meta_.sopClassUid == UID_NONE || meta_.sopInstanceUid[0] == '\0')) {
        return fail("it names no SOP class or no SOP instance, which every DICOM file must");
    }
    return read;
}

// What could not be read in full is not written: it would be lost without a trace.
bool Conversion::parsed(int result) const {
    if (result != RESULT_OK) return fail(resultText(result));
    if (elementsReplaced() > 0) return fail("it holds an element twice");
    return faults_ == 0 || fail(std::to_string(faults_) + " faults in the data set");
}

bool Conversion::readAroundPixels() {
    int offset = -1;
    int length = 0;
    if (!parsed(dirReadNonPixelElem(in_.c_str(), meta_, dataset_, &offset, &length))) return false;
    if (offset == -1) return true;
    if (offset < 0) return fail("the pixel data begins behind 2 GB");
    const auto bytes = static_cast<unsigned int>(length);  // told as the 32-bit number that it is
    return attachPixels(offset, bytes) &&
           readBehindPixels(std::uint64_t{bytes} + static_cast<unsigned int>(offset));
}

// Refers to the pixels in the file, with the VR that they have there.
bool Conversion::attachPixels(int offset, unsigned int length) {
    const bool implicit = source_ == UID_LITTLE_ENDIAN_IMPLICIT;
    const std::vector<char> header = readBytes(in_, static_cast<unsigned int>(offset) - 8, 8);
    if (header.size() != 8) return fail("cannot be read in full");
    if (std::all_of(header.begin() + 4, header.end(), [](char c) { return c == '\xFF'; })) {
        return fail("encapsulated pixel data in the transfer syntax " + describeUid(source_));
    }
    const DICT_VR inFile = implicit ? VR_OX : DcDict::vrOfCode(header[0], header[1]);
    const DICT_VR vr = inFile == VR_OB || inFile == VR_OW ? inFile : VR_OX;
    auto element = std::make_unique<DcElem>(pixelData, nullptr, 0, source_, vr, 0);
    if (length > 0) {
        const int result = element->addValue(in_.c_str(), offset, length, source_);
        if (result != RESULT_OK) return fail(resultText(result));
    }
    dataset_.add(element.release());
    return true;
}

bool Conversion::readBehindPixels(std::uint64_t offset) {
    std::error_code error;
    const std::uint64_t size = fs::file_size(pathOf(in_), error);
    if (error || size <= offset) return true;
    if (size - offset > INT_MAX) return fail("more than 2 GB follow the pixel data");
    std::vector<char> bytes = readBytes(in_, offset, size - offset);
    if (bytes.size() != size - offset) return fail("cannot be read in full");
    streamOffset_ = static_cast<unsigned int>(offset);
    DcElemList behind;
    auto length = static_cast<unsigned int>(bytes.size());
    if (!parsed(behind.parse(bytes.data(), length, source_))) return false;
    unsigned int tag = 0;
    if (behind.first() != nullptr && behind.first()->getTag(tag) == RESULT_OK && tag <= pixelData) {
        return fail("element " + tagText(tag) + " stands behind the pixel data");
    }
    behind.moveElem(&dataset_);
    return true;
}

// ---- changing ---------------------------------------------------------------------------------------------

// Words that are signed or not by Pixel Representation (0028,0103), such as Pixel Padding Value: an implicit
// stream leaves that to the reader, an explicit one says it.
void settleSignedWords(DcElemList& list, bool isSigned) {
    unsigned short representation = 0;
    if (list.getValue(T_0028_0103_pixelRepresentation, representation) == RESULT_OK)
        isSigned = representation != 0;
    for (DcElem *element = list.first(), *next = nullptr; element != nullptr; element = next) {
        next = element->next();
        if (auto* sequence = dynamic_cast<DcElemSq*>(element)) {
            for (DcElemSqItem* item = sequence->first(); item != nullptr; item = item->next()) {
                settleSignedWords(item->getElemList(), isSigned);
            }
        } else if (isSigned && element->getVr() == VR_XS) {
            unsigned int tag = 0;
            element->getTag(tag);
            auto words = std::make_unique<DcElem>(tag, nullptr, 0, UID_LITTLE_ENDIAN_EXPLICIT, VR_SS, 0);
            element->resetValueCounter();
            for (short word = 0; element->getValue(word, ELEM_INDEX_NEXT) == RESULT_OK;)
                words->addValue(word);
            list.subtract(element);
            delete element;
            list.add(words.release());
        }
    }
}

bool Conversion::changePixels() {
    if (source_ == UID_LITTLE_ENDIAN_IMPLICIT) settleSignedWords(dataset_, false);
    if (source_ == UID_ORVKIT5_LZW && !unpackLzw()) return false;
    if (target_ != UID_ORVKIT5_LZW) return true;
    return reencodeExplicit() && packLzw();
}

// The pixel element anew, from bytes that are copied.
std::unique_ptr<DcElem> makePixels(const DcBuf& value, DICT_VR vr, DICT_UID syntax) {
    auto element = std::make_unique<DcElem>(pixelData, nullptr, 0, syntax, vr, 0);
    element->addValue(value.getBuf(), value.getLen(), syntax);
    return element;
}

// The stream of an LZW file names no syntax for its pixels: they are labelled, then decoded. Words that were
// packed as bytes become words again, or they would not follow a change of byte order.
bool Conversion::unpackLzw() {
    DcElem* packed = nullptr;
    DcBuf value;
    if (dataset_.getElem(pixelData, &packed) != RESULT_OK || packed->getValue(value) != RESULT_OK)
        return true;
    unsigned short bits = 0;
    dataset_.getValue(T_0028_0100_bitsAllocated, bits);
    std::unique_ptr<DcElem> pixels = makePixels(value, bits > 8 ? VR_OW : packed->getVr(), UID_ORVKIT5_LZW);
    dataset_.subtract(packed);
    delete packed;
    const int result = pixels->changeXferSyn(UID_LITTLE_ENDIAN_EXPLICIT);
    if (result != RESULT_OK)
        return fail("the LZW pixel data is damaged (result " + std::to_string(result) + ")");
    dataset_.add(pixels.release());
    return true;
}

// Through explicit little endian, so that pixels have that byte order and a settled VR.
bool Conversion::reencodeExplicit() {
    if (source_ == UID_LITTLE_ENDIAN_EXPLICIT || source_ == UID_ORVKIT5_LZW) return true;
    unsigned int size = 0;
    int result = dataset_.getBufSize(size, TAG_LIST_END);
    if (result != RESULT_OK) return fail(resultText(result));
    std::vector<unsigned char> bytes(size);
    unsigned int length = 0;
    result = dataset_.frame(bytes.data(), length, UID_LITTLE_ENDIAN_EXPLICIT);
    if (result != RESULT_OK) return fail(resultText(result));
    reencoded_ = std::make_unique<DcElemList>();
    result = reencoded_->parse(bytes.data(), length, UID_LITTLE_ENDIAN_EXPLICIT);
    return result == RESULT_OK || fail(resultText(result));
}

bool Conversion::packLzw() {
    // Readers find the end of the packed value by this pattern alone (PS3.5 7.5.2).
    static constexpr unsigned char sequenceDelimitation[] = {0xFE, 0xFF, 0xDD, 0xE0, 0, 0, 0, 0};
    DcElem* pixels = nullptr;
    DcBuf value;
    if (dataset().getElem(pixelData, &pixels) != RESULT_OK || pixels->getValueCount() == 0) return true;
    const int result = pixels->changeXferSyn(UID_ORVKIT5_LZW);
    if (result == ELEM_LZW_OUTPUT)
        return fail("the pixel data does not become smaller under LZW (result 5666)");
    if (result != RESULT_OK) return fail(resultText(result));
    if (pixels->getValue(value) != RESULT_OK) return fail("the packed pixel data is not in memory");
    const auto* packed = static_cast<const unsigned char*>(value.getBuf());
    const auto* end = packed + value.getLen();
    if (std::search(packed, end, std::begin(sequenceDelimitation), std::end(sequenceDelimitation)) != end) {
        return fail("the packed pixel data would hold a Sequence Delimitation Item");
    }
    return true;
}

bool Conversion::write() {
    meta_.transferSyntax = target_;
    meta_.version = 1;
    meta_.implClassUid[0] = '\0';  // the writer of the new file is this library
    meta_.implVersionName[0] = '\0';
    WholeFile file(out_);
    if (!file.ok()) return false;
    const int result = dirWriteFile(file.temporaryPath().c_str(), meta_, dataset());
    if (result != RESULT_OK) {
        complain("%s: %s; it was not written", out_.c_str(), resultText(result).c_str());
        return false;
    }
    return file.commit();
}

}  // namespace

void addConvert(Command& program) {
    struct ConvertOptions {
        std::string in;
        std::string out;
        std::string target;
    };
    Command& command = program.command("convert", "Write a file in another transfer syntax");
    auto options = std::make_shared<ConvertOptions>();
    command.text("IN", options->in, "The DICOM file to read").required();
    command.text("OUT", options->out, "The file to write; it appears whole or not at all, and may be IN")
        .required();
    command
        .text("--to", options->target,
              "implicit, explicit (both little endian), big (explicit big endian), or lzw (the library's "
              "own lossless packing of pixel data)")
        .required()
        .oneOf({"implicit", "explicit", "big", "lzw"});
    command.run([options] {
        dirSetMaxFileSize(INT_MAX);
        Conversion conversion(options->in, options->out, xferSynFromName(options->target));
        return conversion.run() ? EXIT_OK : EXIT_FAILED;
    });
}

}  // namespace tools
