#include "media/part10_reader.h"

#include <algorithm>
#include <cstring>

#include "encoding/codec.h"
#include "foundation/fail.h"
#include "media/any_file.h"
#include "media/meta_info.h"

namespace orvkit {

namespace {

constexpr const char* kMetaReporter = "dirReadFileMetaInfo";
// What is held of meta information, however small the limit for data sets is.
constexpr std::uint64_t kMostMeta = std::uint64_t{512} << 20;
constexpr std::size_t kFirstBytes = 136;  // preamble, "DICM" and the tag of the first element

unsigned int groupAt(std::span<const unsigned char> b, std::size_t at, ByteOrder order) {
    return b.size() >= at + 2 ? loadAt<std::uint16_t>(b.data() + at, order) : 0xFFFF;
}

bool hasVrAt(std::span<const unsigned char> b, std::size_t at) {
    return b.size() >= at + 2 &&
           DcDict::vrOfCode(static_cast<char>(b[at]), static_cast<char>(b[at + 1])) != 0;
}

// What the bytes of a file are that is no Part 10 file.
const char* describe(std::span<const unsigned char> b) {
    if (b.size() >= 132 && std::memcmp(b.data() + 128, "DICM", 4) == 0) {
        return "no file meta information behind the preamble";
    }
    if (groupAt(b, 0, ByteOrder::little) == 2 && hasVrAt(b, 4)) {
        return "file meta information without a preamble";
    }
    const unsigned int group = std::min(groupAt(b, 0, ByteOrder::little), groupAt(b, 0, ByteOrder::big));
    const bool plausible = group >= 0x0004 && group <= 0x0028;
    if (plausible && hasVrAt(b, 4)) return "a bare data set in explicit VR without file meta information";
    if (plausible && b.size() >= 8 && loadAt<std::uint32_t>(b.data() + 4, ByteOrder::little) < 0x10000) {
        return "a bare data set in implicit VR without file meta information";
    }
    return "no DICOM file";
}

int failMeta(std::uint64_t offset) {
    return fail(DIR_READ_WRITE, LOG_ERROR, kMetaReporter, "Error reading fileMetaInfo at offset 0x%x",
                static_cast<unsigned int>(offset));
}

int failNotPart10(const Part10& p, std::span<const unsigned char> first) {
    return fail(DIR_NOT_PART10, LOG_ERROR, kMetaReporter, "File '%s' is not a Part 10 file: %s", p.name(),
                describe(first));
}

// Walks the elements of group 0002; their group length is not asked. `end` receives where they stop.
int walkMeta(ByteSource& source, std::uint64_t begin, std::uint64_t& end) {
    Walker walker(source, begin, source.size(), Mode::explicitLittle());
    WalkHeader h;
    while (true) {
        const WalkStep step = walker.peek(h);
        end = walker.position();
        if (step == WalkStep::failed) return failMeta(end);
        if (step == WalkStep::end) {
            const auto rest = source.at(end, 2);
            const bool clean = rest.empty() || (rest.size() >= 2 && groupAt(rest, 0, ByteOrder::little) != 2);
            return clean && !source.failed() ? RESULT_OK : failMeta(end);
        }
        if (h.tag >> 16 != 2) return RESULT_OK;
        if (!walker.skip(h)) return failMeta(end);
    }
}

// Files that name a packed syntax and are plain all the same. No raw stream of DEFLATE (RFC 1951) begins so:
// 08 00 is a stored block, in which the fourth byte would be FF.
bool beginsPlain(std::span<const unsigned char> b) {
    return groupAt(b, 0, ByteOrder::little) == 8 && hasVrAt(b, 4) && b[3] != 0xFF;
}

// How the first element of a data set looks.
DICT_UID guessSyntax(std::span<const unsigned char> b) {
    if (!hasVrAt(b, 4)) return UID_LITTLE_ENDIAN_IMPLICIT;
    return groupAt(b, 0, ByteOrder::big) < groupAt(b, 0, ByteOrder::little) ? UID_BIG_ENDIAN_EXPLICIT
                                                                            : UID_LITTLE_ENDIAN_EXPLICIT;
}

// The elements of group 0002 in explicit VR.
int takeMeta(Part10& p, std::span<const unsigned char> bytes) {
    DcElemList group;
    auto length = static_cast<unsigned int>(bytes.size());
    const int parsed =
        group.parse(const_cast<unsigned char*>(bytes.data()), length, UID_LITTLE_ENDIAN_EXPLICIT);
    const int filled = dirElemListToFileMetaInfo(group, p.meta);
    if (DcElem* e = nullptr; group.getElem(kTagMetaTransferSyntax, &e) == RESULT_OK) {
        (void)e->getValue(p.syntaxText, static_cast<int>(sizeof p.syntaxText - 1), 0);
    }
    if (p.found != nullptr) {
        unsigned int told = 0;
        const bool tells = group.getValue(kTagMetaLength, told) == RESULT_OK;
        p.found->groupLength = tells && told + std::uint64_t{12} == bytes.size();
    }
    if (p.group != nullptr) (void)group.moveElem(p.group);
    if (parsed == ELEM_NO_MEMORY) return parsed;
    return parsed != RESULT_OK ? DIR_META_INFO : filled;
}

int readMetaAt(Part10& p, std::uint64_t begin) {
    if (const int result = walkMeta(p.source, begin, p.end); result != RESULT_OK) return result;
    const std::uint64_t size = p.end - begin;
    const auto bytes = p.source.at(begin, static_cast<std::size_t>(size));
    if (bytes.size() < size || size > 0xFFFFFFFF) return failMeta(begin);
    return takeMeta(p, bytes.first(static_cast<std::size_t>(size)));
}

// Wherever it is, and also when there is none.
int readAnyMeta(Part10& p) {
    *p.found = DcDirFound();
    const auto located = locate(p.source, *p.found);
    if (!located) {
        if (p.source.failed()) return failMeta(0);
        return failNotPart10(p, p.source.at(0, kFirstBytes));
    }
    if (p.found->preamble) std::memcpy(p.meta.preamble, p.source.at(0, kPreambleSize).data(), kPreambleSize);
    p.end = located->begin;
    if (!located->meta) return RESULT_OK;
    p.found->meta = true;
    p.found->metaImplicit = !located->mode.explicitVr;
    if (!p.found->metaImplicit) return readMetaAt(p, located->begin);
    std::vector<unsigned char> bytes;
    if (!explicitMeta(p.source, located->begin, p.end, bytes)) return failMeta(p.end);
    const int result = takeMeta(p, bytes);
    // Its length is that of the implicit form, which nobody asks.
    p.found->groupLength = false;
    return result;
}

}  // namespace

void tellImplicitDirectory(const char* reporter, const char* path) {
    logReport(LOG_NOTICE, reporter, "File '%s', the directory is in implicit VR, read as it lies", path);
}

int readMeta(Part10& p) {
    p.meta.reset();
    if (p.found != nullptr) return readAnyMeta(p);
    const auto first = p.source.at(0, kFirstBytes);
    if (p.source.failed()) return failMeta(0);
    if (first.size() < kFirstBytes || std::memcmp(first.data() + 128, "DICM", 4) != 0 ||
        groupAt(first, kMetaOffset, ByteOrder::little) != 2) {
        return failNotPart10(p, first);
    }
    std::memcpy(p.meta.preamble, first.data(), kPreambleSize);
    return readMetaAt(p, kMetaOffset);
}

int beginFile(FilePrefix& file, Part10& p, const char* statReporter, std::size_t firstRead) {
    if (p.path == nullptr) {
        p.meta.reset();
        return failNull(DIR_NULL_ARGUMENT, kMetaReporter);
    }
    if (const int result = file.open(p.path, statReporter, kMetaReporter, firstRead); result != RESULT_OK)
        return result;
    // The limit is that of the data set, which begins where the meta information ends.
    const std::uint64_t limit = static_cast<std::uint64_t>(maxFileSize()) + FilePrefix::kWithHeader;
    file.setLimit(std::max(limit, kMostMeta));
    const int result = readMeta(p);
    file.setLimit(p.end + limit);
    return result;
}

namespace {

// By the meta information as long as the data set looks like it; compressed ones are not looked into.
void settleAnySyntax(Part10& p, DICT_UID& xferSyn) {
    DcDirFound& found = *p.found;
    const DcDictUidInfo* info = Dict.findUid(xferSyn);
    const DICT_UID named = info != nullptr && info->type == UID_TYPE_XFER_SYN ? xferSyn : DICT_UID{UID_NONE};
    if (codecOf(named) != nullptr || named == UID_DEFLATED_LITTLE_ENDIAN_EXPLICIT) {
        found.xferSyn = named;
        return;
    }
    const DICT_UID looks = syntaxByLooks(p.source, p.end, named);
    if (looks == UID_NONE && named == UID_NONE) {
        const auto first = p.source.at(p.end, kShortHeader);
        xferSyn = guessSyntax(first);
    } else {
        xferSyn = looks != UID_NONE ? looks : named;
    }
    found.xferSyn = xferSyn;
    found.guessed = xferSyn != named;
    if (found.guessed) p.meta.transferSyntax = xferSyn;
}

}  // namespace

int settleSyntax(Part10& p, const char* reporter, DICT_UID& xferSyn) {
    if (p.found != nullptr) {
        xferSyn = p.meta.transferSyntax;
        settleAnySyntax(p, xferSyn);
    }
    const auto first = p.source.at(p.end, 8);
    xferSyn = p.meta.transferSyntax;
    const DcDictUidInfo* info = Dict.findUid(xferSyn);
    if (info == nullptr || info->type != UID_TYPE_XFER_SYN) {
        xferSyn = guessSyntax(first);
        logReport(LOG_NOTICE, reporter, "File '%s', Transfer Syntax UID '%s' is not known, read as %s",
                  p.name(), p.syntaxText, uidText(xferSyn));
    }
    const DataSetCodec* const codec = codecOf(xferSyn);
    if (codec != nullptr && !first.empty() && !beginsPlain(first)) {
        p.codec = codec;
        xferSyn = unpackedSyntax(xferSyn);
        p.mode = Mode::of(xferSyn);
        return RESULT_OK;
    }
    if (xferSyn == UID_DEFLATED_LITTLE_ENDIAN_EXPLICIT && !first.empty() && !hasVrAt(first, 4)) {
        return fail(ELEM_XFER_SYNTAX, LOG_ERROR, reporter, "File '%s', the data set is deflated (%s)",
                    p.name(), uidText(xferSyn));
    }
    p.mode = modeAsItLies(xferSyn, first);
    if (p.mode.everyGroup) tellImplicitDirectory(reporter, p.name());
    if (p.found != nullptr) p.found->directoryImplicit = p.mode.everyGroup;
    return RESULT_OK;
}

}  // namespace orvkit
