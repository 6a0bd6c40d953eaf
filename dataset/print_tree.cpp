// The tree print: a line for every element, items indented below their sequence.
#include <algorithm>
#include <array>
#include <new>

#include "dataset/elem_access.h"
#include "dataset/print.h"
#include "foundation/fail.h"
#include "orvkit/result.h"
#include "platform/file.h"

namespace orvkit {
namespace {

// Below this many levels nothing is shown but a note.
constexpr std::size_t maxDepth = 64;
// Further values are left out once those shown have filled this many columns; the first always stands.
constexpr std::size_t maxColumns = maxPrintedText;
constexpr std::size_t nameColumns = 40;

// Codes and masks that are read in hexadecimal. The command field is shown with its name, too.
constexpr unsigned int hexTags[] = {
    commandFieldTag,
    0x00000800,  // data set type
    0x00000900,  // status
    0x00041212,  // file-set consistency flag
    0x00041410,  // record in-use flag
};

constexpr bool isHexDigit(char c) noexcept {
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || c == 'x';
}

// A name made of nothing but the tag, digits left open included: "T_0009_xx10".
bool isGenericName(std::string_view name) noexcept {
    return name.size() == 11 && name.starts_with("T_") && name[6] == '_' &&
           std::all_of(name.begin() + 2, name.begin() + 6, isHexDigit) &&
           std::all_of(name.begin() + 7, name.end(), isHexDigit);
}

bool isRepeatingGroup(unsigned int tag) noexcept {
    const unsigned int high = tag >> 24;
    return (high == 0x50 || high == 0x60) && (tag & 0x10000) == 0;
}

void putName(TextSink& out, unsigned int tag) {
    char room[64];
    std::string_view name = tagName(tag, room).substr(0, nameColumns);
    if (isGenericName(name) || isRepeatingGroup(tag)) {
        out.put("T_");
        out.hex(tag >> 16, 4);
        out.put('_');
        out.hex(tag & 0xFFFF, 4);
        out.pad(' ', nameColumns - 11);
        return;
    }
    out.put(name);
    out.pad(' ', nameColumns - name.size());
}

// Counts the columns of a value list and says when it is long enough.
class Columns {
  public:
    explicit Columns(TextSink& out) : out_(out), start_(out.total()) {}
    bool full() const { return out_.total() - start_ >= maxColumns; }

  private:
    TextSink& out_;
    unsigned long long start_;
};

void putTexts(TextSink& out, const DcElem& e, DICT_VR vr) {
    const unsigned int count = ElemAccess::store(e).count;
    const Columns columns(out);
    for (unsigned int i = 0; i < count; ++i) {
        if (i != 0) out.put(" \\ ");
        if (i != 0 && columns.full()) {
            out.put("...");
            break;
        }
        if (vr == VR_UI) {
            putUid(out, e, i);
        } else if (putText(out, e, vr, i)) {
            out.put("...");
        }
    }
    out.put('\n');
}

void putUnlimitedText(TextSink& out, const DcElem& e) {
    const PrintedText value = printedUnlimitedText(e);
    out.put(value.text);
    out.put(value.cut ? "...\n" : "\n");
}

void putIntegers(TextSink& out, const DcElem& e, DICT_VR vr) {
    const unsigned int count = ElemAccess::store(e).count;
    const unsigned int tag = ElemAccess::tag(e);
    const bool hexadecimal = std::ranges::find(hexTags, tag) != std::end(hexTags);
    const Columns columns(out);
    for (unsigned int i = 0; i < count; ++i) {
        if (i != 0) out.put("\\ ");
        if (i != 0 && columns.full()) {
            out.put("...");
            break;
        }
        if (putWideInteger(out, e, vr, i)) {
            out.put(' ');
            continue;
        }
        const unsigned int value = integerValue(e, vr, i);
        if (!hexadecimal) {
            out.dec(static_cast<int>(value));
            out.put(' ');
            continue;
        }
        out.put("0x");
        out.hex(value, 4);
        out.put(' ');
        if (tag == commandFieldTag) {
            char room[64];
            out.put('(');
            out.put(commandName(value, room));
            out.put(") ");
        }
    }
    out.put('\n');
}

void putSize(TextSink& out, const DcElem& e) {
    const unsigned long long bytes = ElemAccess::rawLength(e);
    out.dec(static_cast<int>(bytes));
    out.put(" (0x");
    out.hex(static_cast<unsigned int>(bytes));
    out.put(") bytes \n");
}

void putUnknownText(TextSink& out, const DcElem& e) {
    const DcBuf* buf = ElemAccess::firstBuf(e);
    if (buf == nullptr) return out.put('\n');
    if (buf->getType() != BUF_MEMORY || buf->getBuf() == nullptr) return putSize(out, e);
    std::string_view text(static_cast<const char*>(buf->getBuf()), buf->getLen());
    while (!text.empty() && (text.back() == ' ' || text.back() == '\0')) text.remove_suffix(1);
    if (!std::all_of(text.begin(), text.end(), [](char c) { return c >= 0x20 && c < 0x7F; })) {
        return putSize(out, e);
    }
    out.put(text.substr(0, maxPrintedText));
    out.put(text.size() > maxPrintedText ? " ...\n" : "\n");
}

void putValuesLine(TextSink& out, const DcElem& e, DICT_VR vr) {
    switch (vrRow(vr).kind) {
        case Kind::words:
        case Kind::decimal:
        case Kind::age:
        case Kind::uid:
        case Kind::tagged:
        case Kind::real:
            return putTexts(out, e, vr);
        case Kind::longText:
            return putUnlimitedText(out, e);
        case Kind::bytes:
            return putSize(out, e);
        case Kind::integer:
            return putIntegers(out, e, vr);
        case Kind::unknown:
            return putUnknownText(out, e);
        case Kind::hidden:
            return out.put(vr > VR_RT ? "???\n" : "\n");
    }
}

// Goes through a data set and the items nested in it, with the way back kept in a table of its own.
class TreeWalk {
  public:
    explicit TreeWalk(TextSink& out) : out_(out) {}

    void run(DcElem* next) {
        for (;;) {
            if (next != nullptr) {
                element(*next);
                DcElemSq* sq = asSequence(*next);
                if (sq == nullptr || sq->first() == nullptr) {
                    next = next->next();
                } else if (depth_ == maxDepth) {
                    noteTooDeep();
                    next = next->next();
                } else {
                    levels_[depth_++] = {sq, sq->first(), next->next() != nullptr};
                    next = sq->first()->getElemList().first();
                }
            } else if (depth_ == 0) {
                return;
            } else {
                Level& level = levels_[depth_ - 1];
                level.item = level.item->next();
                if (level.item != nullptr) {
                    cells(depth_);
                    out_.put("|---------------------------------------\n");
                    next = level.item->getElemList().first();
                } else {
                    next = static_cast<DcElem*>(level.sq)->next();
                    --depth_;
                }
            }
        }
    }

  private:
    struct Level {
        DcElemSq* sq;
        DcElemSqItem* item;
        bool more;  // further elements follow the sequence
    };

    void cells(std::size_t depth) {
        for (std::size_t i = 0; i < depth; ++i) out_.put(levels_[i].more ? "|  " : "  ");
    }
    void element(const DcElem& e) {
        cells(depth_);
        if (depth_ != 0) out_.put(e.next() != nullptr ? "|--" : "+--");
        const DICT_VR vr = ElemAccess::vr(e);
        putName(out_, ElemAccess::tag(e));
        out_.put(" (");
        out_.put(vrText(vr));
        out_.put(") ");
        putValuesLine(out_, e, vr);
    }
    void noteTooDeep() {
        cells(depth_);
        out_.put("... items nested more than 64 levels deep are not shown\n");
    }

    TextSink& out_;
    std::size_t depth_ = 0;
    std::array<Level, maxDepth> levels_;
};

}  // namespace

void printTree(TextSink& out, DcElemList& list) {
    TreeWalk(out).run(list.first());
}

}  // namespace orvkit

using namespace orvkit;

int DcElemList::printNodeList(FILE* file, PRINT_NODE how) try {
    if (file == nullptr) return ELEM_NULL_ARGUMENT;
    {
        TextSink out(file);
        if (how == PRINT_NODE_TREE) {
            printTree(out, *this);
        } else {
            printFlat(out, *this);
        }
    }
    (void)std::fflush(file);
    return RESULT_OK;
} catch (const std::bad_alloc&) {
    return failMemory("DcElemList::printNodeList");
}

int DcElemList::printNodeList(const char* path, const char* mode, PRINT_NODE how) try {
    if (path == nullptr || mode == nullptr) return failNull(ELEM_NULL_ARGUMENT, "DcElemList::printNodeList");
    FILE* file = platform::openStream(path, mode);
    if (file == nullptr) {
        return fail(ELEM_NULL_ARGUMENT, LOG_VALIDATION, "DcElemList::printNodeList",
                    "Error opening file %s in mode %s", path, mode);
    }
    const int result = printNodeList(file, how);
    const bool written = std::ferror(file) == 0;
    if (std::fclose(file) == 0 && written) return result;
    return fail(ELEM_NULL_ARGUMENT, LOG_VALIDATION, "DcElemList::printNodeList", "Error writing file %s",
                path);
} catch (const std::bad_alloc&) {
    return failMemory("DcElemList::printNodeList");
}
