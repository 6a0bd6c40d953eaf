#include "services/conversion.h"

#include <cerrno>
#include <cstring>

#include "dictionary/syntax_table.h"
#include "encoding/codec.h"
#include "foundation/fail.h"
#include "foundation/text.h"
#include "orvkit/dict.h"
#include "orvkit/result.h"
#include "orvkit/sequence.h"
#include "orvkit/tags.h"
#include "platform/file.h"
#include "services/elements.h"
#include "services/pixel_pack.h"
#include "services/recode.h"
#include "services/report.h"
#include "services/text.h"

namespace services {
namespace {

constexpr unsigned int pixelData = T_7fe0_0010_pixelData;

DcElem* pixelElement(const DcElemList& list) {
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

}  // namespace

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

namespace {

std::string uidText(DICT_UID uid) {
    const DcDictUidInfo* info = Dict.findUid(uid);
    return info != nullptr ? info->uid : "";
}

}  // namespace

std::vector<std::string> targetNames() {
    std::vector<std::string> names;
    for (const orvkit::SyntaxRow& row : orvkit::syntax_table::rows) {
        const bool plain = row.packing == orvkit::Packing::plain;
        if (*row.name != '\0' && (plain || orvkit::codecOf(row.syntax) != nullptr))
            names.emplace_back(row.name);
    }
    std::size_t count = 0;
    const DcImageCodec* codecs = imageCodecs(count);
    for (const DcImageCodec* codec = codecs; codec != codecs + count; ++codec) {
        const bool repacks = codec->decodes && std::string("jxl-jpeg") == codec->name;
        if (codec->encodes || repacks) names.emplace_back(codec->name);
    }
    return names;
}

std::string whyNoTarget(const std::string& name) {
    const DcImageCodec* codec = imageFindCodec(name.c_str());
    if (codec == nullptr || codec->decodes || name != codec->name) return "";
    return name + " was left out of this build: it needs " + codec->library;
}

void chooseTarget(const std::string& name, ConversionRequest& request) {
    request.target = xferSynFromName(name);
    if (request.target != UID_NONE) return;
    request.frames.target = imageFindCodec(name.c_str());
    if (request.frames.target != nullptr) (void)Dict.getUidDef(request.frames.target->uid, request.target);
}

bool losesSomething(const DcImageCodec& codec) {
    return !codec.lossless && std::string("jxl-jpeg") != codec.name;
}

bool hasDecoder(DICT_UID xferSyn) {
    const DcImageCodec* codec = imageFindCodec(uidText(xferSyn).c_str());
    return codec != nullptr && codec->decodes;
}

bool isConvertible(DICT_UID xferSyn) {
    const orvkit::SyntaxRow& row = orvkit::syntaxRow(xferSyn);
    if (row.pixels == orvkit::Pixels::encapsulated) return false;
    return row.packing == orvkit::Packing::plain || orvkit::codecOf(xferSyn) != nullptr;
}

bool Conversion::prepare() {
    return readMeta() && readDataset() && recode() && changePixels();
}

// ---- reading ----------------------------------------------------------------------------------------------

void Conversion::takeFault(void* context, const DcElemFault& fault) {
    constexpr int shown = 10;
    auto& self = *static_cast<Conversion*>(context);
    if (fault.pathLength == 0) return;  // of the file as a whole: the result tells
    if (++self.faults_ > shown) return;
    std::string path;
    for (int i = 0; i < fault.pathLength; ++i) {
        path += i % 2 == 0 ? tagText(fault.path[i]) : "[" + std::to_string(fault.path[i]) + "]";
    }
    self.notes_.push_back(path + " at offset " + std::to_string(self.around_.streamOffset + fault.offset) +
                          ": " + fault.text);
}

bool Conversion::readMeta() {
    orvkit::platform::FileInfo info;
    if (!orvkit::platform::examine(request_.in.c_str(), info)) return fail(std::strerror(errno));
    if (info.kind != orvkit::platform::FileKind::regular) return fail("not a regular file");
    if (request_.force) {
        around_.found = &found_;
        return true;
    }
    unsigned int end = 0;
    const int result = dirReadFileMetaInfo(request_.in.c_str(), meta_, end);
    isOther_ = result == DIR_NOT_PART10;
    if (result != RESULT_OK) return fail(resultText(result));
    source_ = meta_.transferSyntax;
    return source_ != UID_NONE || failUnknownSyntax();
}

bool Conversion::failUnknownSyntax() {
    DcElemList group;
    around_.meta = &group;
    (void)dirReadAroundPixels(request_.in.c_str(), meta_, dataset_, around_);
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
    elemListRegisterFaultCB(this, takeFault);
    const int replaced = elementsReplaced();
    const int result = dirReadAroundPixels(request_.in.c_str(), meta_, dataset_, around_);
    const bool read = parsed(result, elementsReplaced() - replaced);
    if (const std::string remark = takeRemark(); !remark.empty()) notes_.push_back(remark);
    elemListRegisterFaultCB(nullptr, nullptr);
    if (!read) return false;
    if (const std::string how = describeFound(found_); request_.force && !how.empty()) notes_.push_back(how);
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
    if (request_.metaFromDataset) {
        const std::string instance = textOf(dataset_, T_0008_0018_sopInstanceUid);
        meta_.reset();
        (void)Dict.getUidDef(textOf(dataset_, T_0008_0016_sopClassUid).c_str(), meta_.sopClassUid);
        orvkit::copyText(meta_.sopInstanceUid, instance);
    }
    if (!request_.instance.empty()) {
        meta_.sopClassUid = request_.sopClass;
        orvkit::copyText(meta_.sopInstanceUid, request_.instance);
        return true;
    }
    DcElemList none;
    DcElemList& kept = request_.metaFromDataset ? none : group;
    // What of the header has no place in its record; of the rest the writer makes a new one.
    orvkit::needMemory(kept.duplicate(&dataset_, nullptr));
    if (meta_.sopClassUid == UID_NONE) registerUnknownClass(kept);
    if (meta_.sopClassUid != UID_NONE && meta_.sopInstanceUid[0] != '\0') return true;
    return fail("it names no SOP class or no SOP instance, which every DICOM file must");
}

bool Conversion::pixelsCanChange() {
    DcBuf value;
    DcElem* pixels = pixelElement(dataset_);
    const bool inFragments = pixels != nullptr && pixels->getValue(value) == RESULT_OK &&
                             value.getType() != BUF_MEMORY && value.getXferSyn() == UID_NONE;
    if (inFragments) return fail("encapsulated pixel data in the transfer syntax " + describeUid(source_));
    if (Dict.isEncapsulated(source_) == 0 || target_ == source_ || source_ == UID_ORVKIT5_LZW ||
        !holdsPixelData(dataset_) || hasDecoder(source_)) {
        return true;
    }
    return fail("pixel data encapsulated as " + describeUid(source_) + " cannot be changed");
}

// What could not be read in full is not written: it would be lost without a trace.
bool Conversion::parsed(int result, int replaced) {
    if (result != RESULT_OK) return fail(resultText(result));
    if (replaced > 0) return fail("it holds an element twice");
    return faults_ == 0 || fail(std::to_string(faults_) + " faults in the data set");
}

bool Conversion::recode() {
    if (!request_.utf8) return true;
    const std::vector<std::string> lost = recodeToUtf8(dataset_);
    notes_.insert(notes_.end(), lost.begin(), lost.end());
    return lost.empty() || fail("its text cannot be brought to UTF-8 as it is");
}

// ---- changing ---------------------------------------------------------------------------------------------

bool Conversion::changePixels() {
    if (source_ == UID_LITTLE_ENDIAN_IMPLICIT) settleSignedWords(dataset_, false);
    if (source_ == target_ && source_ == UID_ORVKIT5_LZW) return true;
    if (source_ == UID_ORVKIT5_LZW && !unpackLzw()) return false;
    if (!transcodeFrames()) return false;
    return target_ != UID_ORVKIT5_LZW || packLzw();
}

// Frames that are packed, or are to be.
bool Conversion::transcodeFrames() {
    if (source_ == target_ || (request_.frames.target == nullptr && Dict.isEncapsulated(source_) == 0))
        return true;
    if (source_ == UID_ORVKIT5_LZW || !holdsPixelData(dataset_)) return true;
    if (!transcoded_.beginBeside(request_.beside)) return fail(std::strerror(errno));
    std::string instance;
    const std::string fault = transcode(dataset_, uidText(source_), request_.frames, transcoded_, instance);
    if (!fault.empty()) return fail(fault);
    if (!instance.empty()) orvkit::copyText(meta_.sopInstanceUid, instance);
    return true;
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
    DcElem* packed = pixelElement(dataset_);
    DcBuf value;
    if (packed == nullptr || packed->getValue(value) != RESULT_OK) return true;
    unsigned short bits = 0;
    dataset_.getValue(T_0028_0100_bitsAllocated, bits);
    (void)unpacked_.beginBeside(request_.beside);
    DcBuf plain;
    if (const PackFault fault = unpackPixels(value, unpacked_, plain); !fault.empty()) return fail(fault);
    return exchange(packed, bits > 8 ? VR_OW : packed->getVr(), plain);
}

bool Conversion::packLzw() {
    DcElem* pixels = pixelElement(dataset_);
    DcBuf value;
    if (pixels != nullptr && pixels->getValue(value) == RESULT_OK) {
        DICT_VR vr = pixels->getVr();
        unsigned short bits = 0;
        dataset_.getValue(T_0028_0100_bitsAllocated, bits);
        if (vr == VR_OX) vr = bits > 8 ? VR_OW : VR_OB;
        if (vr != VR_OB && vr != VR_OW) return fail("its pixel data is neither OB nor OW");
        const bool turned = vr == VR_OW && value.getXferSyn() == UID_BIG_ENDIAN_EXPLICIT;
        (void)packed_.beginBeside(request_.beside);
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

bool Conversion::hasPixels() {
    return holdsPixelData(dataset());
}

int Conversion::write(const std::string& path) {
    meta_.transferSyntax = target_;
    meta_.version = 1;
    meta_.implClassUid[0] = '\0';  // the writer of the new file is this library
    meta_.implVersionName[0] = '\0';
    return dirWriteFile(path.c_str(), meta_, dataset());
}

}  // namespace services
