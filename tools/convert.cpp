// orvkit convert: the same data set in another transfer syntax.
//
// The pixel data stays in its file and is copied from there to the new one, its byte order changed on the
// way; to and from the packed syntax it goes through a file without a name.
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "encoding/codec.h"
#include "foundation/text.h"
#include "orvkit/dict.h"
#include "orvkit/elemlist.h"
#include "orvkit/file.h"
#include "orvkit/result.h"
#include "orvkit/sequence.h"
#include "orvkit/tags.h"
#include "platform/file.h"
#include "services/elements.h"
#include "services/pixel_pack.h"
#include "services/recode.h"
#include "services/report.h"
#include "services/text.h"
#include "services/whole_file.h"
#include "tools/commands.h"

namespace tools {
namespace {

constexpr unsigned int pixelData = T_7fe0_0010_pixelData;

struct ConvertOptions {
    std::string in;
    std::string out;
    std::string target;  // "": as it is
    bool force = false;
    bool metaFromDataset = false;
    bool utf8 = false;
};

// One conversion. Every step answers whether to go on; the one that fails has said why.
class Conversion {
  public:
    explicit Conversion(const ConvertOptions& options)
        : options_(options),
          in_(options.in),
          out_(options.out),
          target_(options.target.empty() ? DICT_UID{UID_NONE} : xferSynFromName(options.target)) {}

    bool run() { return readMeta() && readDataset() && recode() && changePixels() && write(); }

  private:
    bool fail(const std::string& why) const {
        return complain("%s: %s; nothing was written", in_.c_str(), why.c_str());
    }

    // ---- reading ----
    bool readMeta();
    bool failUnknownSyntax();
    bool readDataset();
    bool settleHeader(DcElemList& group);
    void registerUnknownClass(DcElemList& group);
    bool pixelsCanChange();
    bool parsed(int result) const;
    static void tellFault(void* context, const DcElemFault& fault);

    // ---- changing and writing ----
    bool recode();
    bool changePixels();
    bool unpackLzw();
    bool packLzw();
    bool reencodeExplicit();
    bool exchange(DcElem* old, DICT_VR vr, DcBuf& value);
    bool write();

    const ConvertOptions& options_;
    const std::string& in_;
    const std::string& out_;
    DICT_UID target_;
    DICT_UID source_ = UID_NONE;
    orvkit::platform::ScratchFile unpacked_;  // in front of the data sets that refer to them
    orvkit::platform::ScratchFile packed_;
    DcDirMetaInfo meta_;
    DcElemList dataset_;
    std::unique_ptr<DcElemList> reencoded_;  // stands for dataset_ once it is there
    DcDirAround around_;
    DcDirFound found_;
    int faults_ = 0;

    DcElemList& dataset() { return reencoded_ ? *reencoded_ : dataset_; }
};

DcElem* pixelsOf(const DcElemList& list) {
    DcElem* const element = elementOf(list, pixelData);
    return element != nullptr && element->getValueCount() != 0 ? element : nullptr;
}

bool holdsPixelData(DcElemList& list) {
    for (DcElem* element = list.first(); element != nullptr; element = element->next()) {
        if (tagOf(*element) == pixelData) return true;
        auto* sequence = dynamic_cast<DcElemSq*>(element);
        if (sequence == nullptr) continue;
        for (DcElemSqItem* item = sequence->first(); item != nullptr; item = item->next()) {
            if (holdsPixelData(item->getElemList())) return true;
        }
    }
    return false;
}

// ---- reading ----------------------------------------------------------------------------------------------

void Conversion::tellFault(void* context, const DcElemFault& fault) {
    constexpr int shown = 10;
    auto& self = *static_cast<Conversion*>(context);
    if (fault.pathLength == 0) return;  // of the file as a whole: the result tells
    if (++self.faults_ > shown) return;
    std::string path;
    for (int i = 0; i < fault.pathLength; ++i) {
        path += i % 2 == 0 ? tagText(fault.path[i]) : "[" + std::to_string(fault.path[i]) + "]";
    }
    complain("%s: %s at offset %llu: %s", self.in_.c_str(), path.c_str(),
             self.around_.streamOffset + fault.offset, fault.text);
}

bool Conversion::readMeta() {
    orvkit::platform::FileInfo info;
    if (!orvkit::platform::examine(in_.c_str(), info)) return fail(std::strerror(errno));
    if (info.kind != orvkit::platform::FileKind::regular) return fail("not a regular file");
    if (options_.force) {
        around_.found = &found_;
        return true;
    }
    unsigned int end = 0;
    const int result = dirReadFileMetaInfo(in_.c_str(), meta_, end);
    if (result != RESULT_OK) return fail(resultText(result));
    source_ = meta_.transferSyntax;
    return source_ != UID_NONE || failUnknownSyntax();
}

bool Conversion::failUnknownSyntax() {
    DcElemList group;
    around_.meta = &group;
    muteLog();
    (void)dirReadAroundPixels(in_.c_str(), meta_, dataset_, around_);
    muteLog(false);
    return fail("the transfer syntax '" + textOf(group, T_0002_0010_transferSyntaxUid) + "' is not known");
}

// A SOP class that came after the dictionary has no number in it, and the record of the meta information
// holds a number: it is added for this run.
void Conversion::registerUnknownClass(DcElemList& group) {
    std::string uid = textOf(group, T_0002_0002_mediaStorageSopClassUid);
    if (uid.empty()) uid = textOf(dataset_, T_0008_0016_sopClassUid);
    if (!uid.empty()) Dict.add(uid.c_str(), "SOP class of the file", &meta_.sopClassUid, UID_TYPE_SOP);
}

bool Conversion::readDataset() {
    DcElemList group;
    around_.meta = &group;
    elemListRegisterFaultCB(this, tellFault);
    muteLog();
    const bool read = parsed(dirReadAroundPixels(in_.c_str(), meta_, dataset_, around_));
    if (const std::string remark = takeRemark(); !remark.empty()) {
        complain("%s: %s", in_.c_str(), remark.c_str());
    }
    muteLog(false);
    elemListRegisterFaultCB(nullptr, nullptr);
    if (!read) return false;
    if (const std::string how = describeFound(found_); options_.force && !how.empty()) {
        complain("%s: %s", in_.c_str(), how.c_str());
    }
    source_ = meta_.transferSyntax;
    if (target_ == UID_NONE) target_ = source_;
    if (meta_.sopClassUid == UID_MEDIA_STORAGE_DIR_STORAGE) {
        return fail("a DICOMDIR cannot be converted: its records refer to each other by byte offset");
    }
    if (!pixelsCanChange() || !settleHeader(group)) return false;
    source_ = around_.xferSyn;  // of what was unpacked
    return true;
}

// What the new file's header tells.
bool Conversion::settleHeader(DcElemList& group) {
    if (options_.metaFromDataset) {
        const std::string instance = textOf(dataset_, T_0008_0018_sopInstanceUid);
        meta_.reset();
        (void)Dict.getUidDef(textOf(dataset_, T_0008_0016_sopClassUid).c_str(), meta_.sopClassUid);
        orvkit::copyText(meta_.sopInstanceUid, instance);
    }
    DcElemList none;
    DcElemList& kept = options_.metaFromDataset ? none : group;
    // What of the header has no place in its record; of the rest the writer makes a new one.
    (void)kept.duplicate(&dataset_, nullptr);
    if (meta_.sopClassUid == UID_NONE) registerUnknownClass(kept);
    if (meta_.sopClassUid != UID_NONE && meta_.sopInstanceUid[0] != '\0') return true;
    return fail("it names no SOP class or no SOP instance, which every DICOM file must");
}

bool Conversion::pixelsCanChange() {
    DcBuf value;
    DcElem* pixels = pixelsOf(dataset_);
    const bool inFragments = pixels != nullptr && pixels->getValue(value) == RESULT_OK &&
                             value.getType() != BUF_MEMORY && value.getXferSyn() == UID_NONE;
    if (inFragments) return fail("encapsulated pixel data in the transfer syntax " + describeUid(source_));
    if (Dict.isEncapsulated(source_) == 0 || target_ == source_ || source_ == UID_ORVKIT5_LZW ||
        !holdsPixelData(dataset_)) {
        return true;
    }
    return fail("pixel data encapsulated as " + describeUid(source_) + " cannot be changed");
}

// What could not be read in full is not written: it would be lost without a trace.
bool Conversion::parsed(int result) const {
    if (result != RESULT_OK) return fail(resultText(result));
    if (elementsReplaced() > 0) return fail("it holds an element twice");
    return faults_ == 0 || fail(std::to_string(faults_) + " faults in the data set");
}

bool Conversion::recode() {
    if (!options_.utf8) return true;
    const std::vector<std::string> lost = recodeToUtf8(dataset_);
    for (const std::string& what : lost) complain("%s: %s", in_.c_str(), what.c_str());
    return lost.empty() || fail("its text cannot be brought to UTF-8 as it is");
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
            auto words =
                std::make_unique<DcElem>(tagOf(*element), nullptr, 0, UID_LITTLE_ENDIAN_EXPLICIT, VR_SS, 0);
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
    if (source_ == target_ && source_ == UID_ORVKIT5_LZW) return true;
    if (source_ == UID_ORVKIT5_LZW && !unpackLzw()) return false;
    return target_ != UID_ORVKIT5_LZW || packLzw();
}

// Puts pixels into the place of others.
bool Conversion::exchange(DcElem* old, DICT_VR vr, DcBuf& value) {
    auto element = std::make_unique<DcElem>(pixelData, nullptr, 0, UID_NONE, vr, 0);
    const int result = element->addValue(&value);
    if (result != RESULT_OK) return fail(resultText(result));
    dataset_.subtract(old);
    delete old;
    dataset_.add(element.release());
    return true;
}

// Words that were packed as bytes become words again, or they would not follow a change of byte order.
bool Conversion::unpackLzw() {
    DcElem* packed = pixelsOf(dataset_);
    DcBuf value;
    if (packed == nullptr || packed->getValue(value) != RESULT_OK) return true;
    unsigned short bits = 0;
    dataset_.getValue(T_0028_0100_bitsAllocated, bits);
    (void)unpacked_.beginBeside(out_);
    DcBuf plain;
    if (const PackFault fault = unpackPixels(value, unpacked_, plain); !fault.empty()) return fail(fault);
    return exchange(packed, bits > 8 ? VR_OW : packed->getVr(), plain);
}

bool Conversion::packLzw() {
    DcElem* pixels = pixelsOf(dataset_);
    DcBuf value;
    if (pixels != nullptr && pixels->getValue(value) == RESULT_OK) {
        DICT_VR vr = pixels->getVr();
        unsigned short bits = 0;
        dataset_.getValue(T_0028_0100_bitsAllocated, bits);
        if (vr == VR_OX) vr = bits > 8 ? VR_OW : VR_OB;
        if (vr != VR_OB && vr != VR_OW) return fail("its pixel data is neither OB nor OW");
        const bool turned = vr == VR_OW && value.getXferSyn() == UID_BIG_ENDIAN_EXPLICIT;
        (void)packed_.beginBeside(out_);
        DcBuf packed;
        const PackFault fault = packPixels(value, turned ? 2 : 1, packed_, packed);
        if (!fault.empty()) return fail(fault);
        if (!exchange(pixels, vr, packed)) return false;
    }
    return reencodeExplicit();
}

// What is not packed, such as icons, has its syntax with it: explicit little endian.
bool Conversion::reencodeExplicit() {
    if (source_ == UID_LITTLE_ENDIAN_EXPLICIT || source_ == UID_ORVKIT5_LZW) return true;
    DcElemList aside;
    (void)dataset_.moveElem(&aside, pixelData);
    unsigned int size = 0;
    int result = dataset_.getBufSize(size, TAG_LIST_END);
    if (result != RESULT_OK) return fail(resultText(result));
    std::vector<unsigned char> bytes(size);
    unsigned int length = 0;
    result = dataset_.frame(bytes.data(), length, UID_LITTLE_ENDIAN_EXPLICIT);
    if (result != RESULT_OK) return fail(resultText(result));
    reencoded_ = std::make_unique<DcElemList>();
    result = reencoded_->parse(bytes.data(), length, UID_LITTLE_ENDIAN_EXPLICIT);
    (void)aside.moveElem(reencoded_.get());
    return result == RESULT_OK || fail(resultText(result));
}

bool Conversion::write() {
    meta_.transferSyntax = target_;
    meta_.version = 1;
    meta_.implClassUid[0] = '\0';  // the writer of the new file is this library
    meta_.implVersionName[0] = '\0';
    WholeFile file(out_);
    if (!file.ok()) return false;
    const int result = dirWriteFile(file.temporaryPath().c_str(), meta_, dataset());
    if (result != RESULT_OK)
        return complain("%s: %s; it was not written", out_.c_str(), resultText(result).c_str());
    return file.commit();
}

std::vector<std::string> targets() {
    std::vector<std::string> names{"implicit", "explicit", "big", "lzw"};
    if (orvkit::codecOf(UID_DEFLATED_LITTLE_ENDIAN_EXPLICIT) != nullptr) names.emplace_back("deflated");
    return names;
}

}  // namespace

void addConvert(Command& program) {
    Command& command = program.command("convert", "Write a file in another transfer syntax or character set");
    auto options = std::make_shared<ConvertOptions>();
    command.text("IN", options->in, "The DICOM file to read").required();
    command.text("OUT", options->out, "The file to write; it appears whole or not at all, and may be IN")
        .required();
    command
        .text("--to", options->target,
              "implicit, explicit (both little endian), big (explicit big endian), deflated (explicit little "
              "endian, compressed as a whole), or lzw (the library's own lossless packing of pixel data)")
        .oneOf(targets());
    command.flag(
        "--force", options->force,
        "Also read what is no DICOM file by the letter: a data set without a header, or with one of odd "
        "form; how it was read is told");
    command.flag("--meta-from-dataset", options->metaFromDataset,
                 "Make the header from the data set alone; nothing of the old one stays");
    command.flag("--utf8", options->utf8,
                 "Bring all text to UTF-8 (Specific Character Set ISO_IR 192), exactly or not at all");
    command.run([options] {
        dirSetMaxFileSize(INT_MAX);
        if (options->target.empty() && !options->force && !options->metaFromDataset && !options->utf8) {
            return misused("--to is required, where nothing else is to be changed");
        }
        Conversion conversion(*options);
        return int{conversion.run() ? EXIT_OK : EXIT_FAILED};
    });
}

}  // namespace tools
