// The flat print: a header line for every element, then its values one by one.
#include <algorithm>
#include <cstdio>
#include <new>
#include <typeinfo>
#include <vector>

#include "dataset/elem_access.h"
#include "dataset/print.h"
#include "foundation/fail.h"
#include "orvkit/result.h"

namespace orvkit {
namespace {

// Number lists that are read in groups, and how many values stand in a line.
struct Layout {
    unsigned int tag;
    unsigned int perLine;
};
constexpr Layout layouts[] = {
    {0x00181620, 2},  // vertices of the polygonal shutter: row and column
    {0x00181720, 2},  // vertices of the polygonal collimator
    {0x3004000C, 8},  // grid frame offset vector
    {0x30040058, 2},  // DVH data: dose and volume
    {0x30060050, 3},  // contour data: x, y, z
    {0x300600C6, 4},  // frame of reference transformation matrix, by rows
    {0x300A00BE, 8},  // leaf position boundaries
    {0x300A011C, 8},  // leaf and jaw positions
};

unsigned int valuesPerLine(unsigned int tag) noexcept {
    const auto* row = std::ranges::find(layouts, tag, &Layout::tag);
    return row == std::end(layouts) ? 1 : row->perLine;
}

void putTexts(TextSink& out, const DcElem& e, DICT_VR vr, unsigned int count) {
    for (unsigned int i = 0; i < count; ++i) {
        out.put("  ");
        out.put(putText(out, e, vr, i) ? " ...\n" : "\n");
    }
}

void putNumberTexts(TextSink& out, const DcElem& e, DICT_VR vr, unsigned int count) {
    const unsigned int perLine = valuesPerLine(ElemAccess::tag(e));
    for (unsigned int i = 0; i < count; ++i) {
        out.put(i % perLine == 0 ? "  " : " \\ ");
        if (putText(out, e, vr, i)) out.put(" ...");
        if (i % perLine == perLine - 1 || i + 1 == count) out.put('\n');
    }
}

void putAges(TextSink& out, const DcElem& e, unsigned int count) {
    for (unsigned int i = 0; i < count; ++i) {
        const std::string_view text = printedText(storeText(ElemAccess::store(e), i)).text;
        out.put("  ");
        // Ages that are none, which an exception callback lets in, stand as they are.
        if (text.size() == 4 &&
            std::all_of(text.begin(), text.begin() + 3, [](char c) { return c >= '0' && c <= '9'; })) {
            out.dec((text[0] - '0') * 100 + (text[1] - '0') * 10 + (text[2] - '0'));
            out.put(text[3]);
        } else {
            out.put(text);
        }
        out.put('\n');
    }
}

void putUids(TextSink& out, const DcElem& e, unsigned int count) {
    for (unsigned int i = 0; i < count; ++i) {
        out.put("  ");
        putUid(out, e, i);
        out.put('\n');
    }
}

void putIntegers(TextSink& out, const DcElem& e, DICT_VR vr, unsigned int count) {
    const bool wide = vrUnit(vr) == 4;
    const bool command = ElemAccess::tag(e) == commandFieldTag && vr == VR_US;
    for (unsigned int i = 0; i < count; ++i) {
        out.put("  ");
        if (putWideInteger(out, e, vr, i)) {
            out.put('\n');
            continue;
        }
        const unsigned int value = integerValue(e, vr, i);
        out.put("0x");
        out.hex(wide ? value : value & 0xFFFF, wide ? 8 : 4);
        if (command) {
            char room[64];
            out.put(" (");
            out.put(commandName(value, room));
            out.put(")\n");
        } else {
            out.put(' ');
            out.dec(static_cast<int>(value));
            out.put('\n');
        }
    }
}

// As "%d (0x%x", where 32 bits hold it.
void putNumber(TextSink& out, unsigned long long value) {
    char text[48];
    const bool wide = value > 0xFFFFFFFF;
    const int length = wide ? std::snprintf(text, sizeof text, "%llu (0x%llx", value, value)
                            : std::snprintf(text, sizeof text, "%d (0x%x", static_cast<int>(value),
                                            static_cast<unsigned int>(value));
    out.put(std::string_view(text, static_cast<std::size_t>(length)));
}

void putSize(TextSink& out, unsigned long long bytes) {
    putNumber(out, bytes);
    out.put(") bytes");
}

void putUnknown(TextSink& out, const DcElem& e) {
    const DcBuf* buf = ElemAccess::firstBuf(e);
    if (buf == nullptr) return;
    out.put("  buf : ");
    out.pointer(buf->getBuf());
    out.put("   len : ");
    putSize(out, buf->getLen());
    out.put(" \n");
}

void putOffset(TextSink& out, const DcBuf& buf) {
    out.put("   offset: ");
    putNumber(out, buf.getOffset64());
    out.put(")  ");
}

void putBuffers(TextSink& out, const DcElem& e) {
    for (const DcBuf* buf = ElemAccess::firstBuf(e); buf != nullptr; buf = buf->next()) {
        switch (buf->getType()) {
            case BUF_FILE:
                out.put("  filename: ");
                out.put(buf->getFileName() != nullptr ? buf->getFileName() : "");
                putOffset(out, *buf);
                break;
            case BUF_HANDLE:
                out.put("  handle: ");
                out.dec(buf->getHandle());
                putOffset(out, *buf);
                break;
            default:
                out.put("  buf: ");
                out.pointer(buf->getBuf());
                out.put("   ");
                break;
        }
        out.put("len: ");
        putSize(out, buf->getLen64());
        out.put('\n');
    }
    out.put("                 Total : ");
    putSize(out, ElemAccess::rawLength(e));
    out.put('\n');
}

void putValues(TextSink& out, const DcElem& e, DICT_VR vr) {
    const unsigned int count = ElemAccess::store(e).count;
    switch (vrRow(vr).kind) {
        case Kind::words:
        case Kind::tagged:
        case Kind::real:
            return putTexts(out, e, vr, count);
        case Kind::decimal:
            return putNumberTexts(out, e, vr, count);
        case Kind::age:
            return putAges(out, e, count);
        case Kind::uid:
            return putUids(out, e, count);
        case Kind::integer:
            return putIntegers(out, e, vr, count);
        case Kind::unknown:
            return putUnknown(out, e);
        case Kind::bytes:
        case Kind::longText:
            return putBuffers(out, e);
        case Kind::hidden:
            return;
    }
}

void putElement(TextSink& out, const DcElem& e) {
    const DICT_VR vr = ElemAccess::vr(e);
    char room[64];
    out.tag(ElemAccess::tag(e));
    out.put("   ");
    out.put(vrText(vr));
    out.put('(');
    out.put(vrText(Dict.facts(ElemAccess::effectiveTag(e)).vr));
    out.put(")   ");
    out.put(tagName(ElemAccess::tag(e), room));
    out.put('\n');
    putValues(out, e, vr);
}

void putSequenceMark(TextSink& out, const DcElemSq& sq, std::string_view end) {
    const unsigned int tag = ElemAccess::effectiveTag(sq);
    char room[64];
    out.put("   *** SQ ");
    out.tag(tag);
    out.put("  ");
    out.put(tagName(tag, room));
    out.put(end);
}

// The item lines carry the sequence's tag.
void putItemMark(TextSink& out, const DcElemSq& sq, std::string_view end) {
    out.put("     * SQ item ");
    out.tag(ElemAccess::effectiveTag(sq));
    out.put(end);
}

// Elements with everything nested in them. The levels are kept on the heap, since data sets that were built
// in memory may be nested to any depth.
class FlatWalk {
  public:
    explicit FlatWalk(TextSink& out) : out_(out) {}
    void sequence(DcElemSq& sq) {
        alone_ = true;
        open(sq);
        run();
    }
    void list(DcElem* first) {
        next_ = first;
        run();
    }

  private:
    struct Level {
        DcElemSq* sq;
        DcElemSqItem* item;
    };

    void run() {
        for (;;) {
            if (next_ == nullptr) {
                if (levels_.empty()) return;
                putItemMark(out_, *levels_.back().sq, " end *\n");
                enter(levels_.back().item->next());
            } else if (typeid(*next_) == typeid(DcElemSq)) {
                open(*static_cast<DcElemSq*>(next_));
            } else {
                element(*next_);
                next_ = next_->next();
            }
        }
    }
    void element(DcElem& e) {
        if (typeid(e) == typeid(DcElem)) return putElement(out_, e);
        out_.flush();  // a class of the application's, which prints itself
        (void)e.printNodeList(out_.file());
    }
    void open(DcElemSq& sq) {
        putSequenceMark(out_, sq, " begin ***\n");
        levels_.push_back({&sq, nullptr});
        enter(sq.first());
    }
    void enter(DcElemSqItem* item) {
        Level& level = levels_.back();
        level.item = item;
        if (item != nullptr) {
            putItemMark(out_, *level.sq, " begin *\n");
            next_ = item->getElemList().first();
            return;
        }
        putSequenceMark(out_, *level.sq, " end ***\n");
        next_ = static_cast<DcElem*>(level.sq)->next();
        levels_.pop_back();
        if (alone_ && levels_.empty()) next_ = nullptr;
    }

    TextSink& out_;
    DcElem* next_ = nullptr;
    std::vector<Level> levels_;
    bool alone_ = false;  // what follows the outermost sequence is not printed
};

}  // namespace

void printFlat(TextSink& out, DcElemList& list) {
    FlatWalk(out).list(list.first());
}

}  // namespace orvkit

using namespace orvkit;

int DcElem::printNodeList(FILE* file) try {
    if (file == nullptr) return ELEM_NULL_ARGUMENT;
    TextSink out(file);
    putElement(out, *this);
    return RESULT_OK;
} catch (const std::bad_alloc&) {
    return failMemory("DcElem::printNodeList");
}

int DcElemSq::printNodeList(FILE* file) try {
    if (file == nullptr) return ELEM_NULL_ARGUMENT;
    {
        TextSink out(file);
        FlatWalk(out).sequence(*this);
    }
    (void)std::fflush(file);
    return RESULT_OK;
} catch (const std::bad_alloc&) {
    return failMemory("DcElemSq::printNodeList");
}
