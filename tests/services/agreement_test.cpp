// The provider's check, the raw scanners and the decoder look at the same bytes, each in its own way. On
// damaged streams they must agree where every element begins and ends, or an object is let in that nobody can
// read. ORVKIT_AGREEMENT_STREAMS sets how many streams are tried.

#include <cstdlib>
#include <random>
#include <set>

#include "encoding/walk.h"
#include "orvkit/elemlist.h"
#include "services/store_check.h"
#include "tests/support/capture_log.h"
#include "tests/support/stream.h"

namespace {

using Bytes = std::vector<unsigned char>;
using orvkit::kLengthUndefined;
using orvkit::kTagItem;
using orvkit::kTagPixelData;
using orvkit::WalkHeader;
using services::StoreCheck;

// ---- streams ----------------------------------------------------------------------------------------------

constexpr DICT_UID kSyntaxes[] = {UID_LITTLE_ENDIAN_IMPLICIT, UID_LITTLE_ENDIAN_EXPLICIT,
                                  UID_BIG_ENDIAN_EXPLICIT};

class Maker {
  public:
    explicit Maker(unsigned int seed) : random_(seed), syntax_(kSyntaxes[below(3)]) {}

    DICT_UID syntax() const { return syntax_; }
    Bytes make() {
        Stream s(syntax_);
        elements(s, 0);
        Bytes bytes = s.bytes();
        for (unsigned int n = below(4); n != 0 && !bytes.empty(); --n) damage(bytes);
        return bytes;
    }
    // The pieces in which a stream may arrive.
    std::size_t piece(std::size_t left) { return std::min<std::size_t>(left, 1 + below(23)); }

  private:
    struct Known {
        unsigned int tag;
        const char* vr;
    };
    static constexpr Known known[] = {
        {0x00020010, "UI"}, {0x00041400, "UL"}, {0x00080005, "CS"}, {0x00080020, "DA"},
        {0x00081140, "SQ"}, {0x00091010, "LO"}, {0x00091011, "UN"}, {0x00100010, "PN"},
        {0x00104000, "LT"}, {0x00280010, "US"}, {0x00281201, "OW"}, {0x0040A160, "UT"},
        {0x0040A730, "SQ"}, {0x00540220, "SQ"}, {0x60003000, "OB"}, {0x7FE00010, "OW"}};
    static constexpr const char* otherLetters[] = {"UC", "UR", "OD", "OL", "OV",
                                                   "SV", "UV", "ZZ", "??", "pn"};

    unsigned int below(unsigned int n) { return static_cast<unsigned int>(random_() % n); }

    void elements(Stream& s, int depth) {
        for (unsigned int i = below(3); i < std::size(known); i += 1 + below(6)) {
            const Known& k = known[i];
            std::string vr = k.vr;
            if (vr != "SQ" && below(12) == 0) vr = otherLetters[below(std::size(otherLetters))];
            if (vr == "SQ" || (vr == "UN" && below(3) == 0)) {
                sequence(s, k.tag, vr, depth);
            } else if (k.tag == kTagPixelData && below(3) == 0) {
                s.header(k.tag, vr, kLengthUndefined);
                for (unsigned int n = below(3); n != 0; --n) s.item(4).raw("frag");
                s.endSequence();
            } else {
                s.elem(k.tag, vr, std::string(2 * below(5), 'a'));
            }
        }
    }
    void sequence(Stream& s, unsigned int tag, const std::string& vr, int depth) {
        Stream items(vr == "UN" ? UID_LITTLE_ENDIAN_IMPLICIT : syntax_);
        for (unsigned int n = depth < 3 ? below(3) : 0; n != 0; --n) {
            Stream content(vr == "UN" ? UID_LITTLE_ENDIAN_IMPLICIT : syntax_);
            if (vr == "UN") {
                content.elem(0x00100010, "PN", "ab").elem(0x00280010, "US", "ab");
            } else {
                elements(content, depth + 1);
            }
            const bool open = below(2) == 0;
            items.item(open ? kLengthUndefined : content.size()).add(content);
            if (open) items.endItem();
        }
        const bool open = vr == "UN" || below(2) == 0;
        s.header(tag, vr, open ? kLengthUndefined : items.size()).add(items);
        if (open) s.add(Stream(vr == "UN" ? UID_LITTLE_ENDIAN_IMPLICIT : syntax_).endSequence());
    }
    void damage(Bytes& b) {
        const auto at = static_cast<std::ptrdiff_t>(below(static_cast<unsigned int>(b.size())));
        switch (below(6)) {
            case 0:
                b[static_cast<std::size_t>(at)] = static_cast<unsigned char>(random_());
                break;
            case 1:
                b[static_cast<std::size_t>(at)] = static_cast<unsigned char>(below(9));
                break;
            case 2:
                b.erase(b.begin() + at);
                break;
            case 3:
                b.insert(b.begin() + at, static_cast<unsigned char>(below(3)));
                break;
            case 4:
                b.resize(static_cast<std::size_t>(at));
                break;
            default: {  // letters of a later edition where letters stand, or anywhere
                constexpr std::string_view name = "PN";
                const auto pn = std::search(b.begin(), b.end(), name.begin(), name.end());
                const char* letters = otherLetters[below(std::size(otherLetters))];
                if (b.end() - pn >= 2) std::copy_n(letters, 2, pn);
            }
        }
    }

    std::mt19937 random_;
    DICT_UID syntax_;
};

// ---- the three --------------------------------------------------------------------------------------------

struct Place {
    unsigned int tag;
    std::uint64_t end;
    bool defined;  // its length
};

// The elements at the top, as the scanners see them, up to the first fault. An item or delimitation there is
// an item to them and an element to the decoder: nothing behind one is compared.
std::vector<Place> scanned(const Bytes& bytes, DICT_UID syntax) {
    orvkit::SpanSource source(bytes);
    orvkit::Walker walker(source, 0, bytes.size(), orvkit::Mode::of(syntax));
    std::vector<Place> places;
    WalkHeader h;
    while (walker.peek(h) == orvkit::WalkStep::element && walker.skip(h))
        places.push_back({h.tag, walker.position(), h.length != kLengthUndefined});
    return places;
}

// Values that the walk passes by their lengths, and that the decoder looks into: those of sequences and
// items.
struct Passed {
    std::uint64_t begin, end;
    bool holds(std::uint64_t offset) const { return begin <= offset && offset < end; }
};

struct Trace {
    std::vector<Passed> passed;
    std::uint64_t stray = UINT64_MAX;  // the first item or delimitation where an element belongs
};

Trace walked(const Bytes& bytes, DICT_UID syntax) {
    const orvkit::Mode mode = orvkit::Mode::of(syntax);
    Trace trace;
    orvkit::PushWalk walk(mode);
    for (std::size_t at = 0; at < bytes.size();) {
        const bool before = walk.left() > 0;
        at += walk.take(std::span(bytes).subspan(at));
        if (walk.met() && orvkit::isItemTag(walk.header().tag) && trace.stray == UINT64_MAX) {
            trace.stray = walk.header().offset;
        }
        if (before || walk.left() == 0) continue;
        const bool items = orvkit::beginsWithItem(std::span(bytes).subspan(at), mode.order) ||
                           orvkit::beginsWithItem(std::span(bytes).subspan(at), orvkit::ByteOrder::little);
        const bool sequence =
            walk.passing() == kTagItem || (walk.met() && walk.header().vr == VR_SQ) || items;
        if (sequence) trace.passed.push_back({at, at + walk.left()});
    }
    return trace;
}

struct Decoded {
    int result = 0;
    unsigned int used = 0;
    std::set<unsigned int> tags;
    bool order = false;       // an element was refused for its order, not for where it stands
    bool missing = false;     // an end was missing inside of what has a length, and did no harm
    std::uint64_t fault = 0;  // where the last one was
};

Decoded decoded(const Bytes& bytes, std::size_t size, DICT_UID syntax) {
    Decoded d;
    (void)elemListRegisterFaultCB(&d, [](void* context, const DcElemFault& fault) {
        auto& found = *static_cast<Decoded*>(context);
        found.order = found.order || std::string_view(fault.text).starts_with("Elements out of order");
        found.fault = fault.offset;
        found.missing = found.missing || fault.result == UTIL_NO_TERMINATOR;
    });
    DcElemList list;
    d.used = static_cast<unsigned int>(size);
    d.result = list.decode(const_cast<unsigned char*>(bytes.data()), d.used, syntax);
    (void)elemListRegisterFaultCB(nullptr, nullptr);
    for (DcElem* e = list.first(); e != nullptr; e = e->next()) {
        unsigned int tag = 0;
        (void)e->getTag(tag);
        d.tags.insert(tag);
    }
    return d;
}

StoreCheck::Verdict checked(const Bytes& bytes, std::size_t size, DICT_UID syntax, Maker& maker) {
    StoreCheck check(syntax, "", "");
    for (std::size_t at = 0; at < size;) {
        const std::size_t n = maker.piece(size - at);
        check.pass(bytes.data() + at, n);
        at += n;
    }
    check.end();
    return check.verdict();
}

TEST(Agreement, CheckScannersAndDecoderSeeEveryElementInTheSamePlace) {
    const char* const wanted = std::getenv("ORVKIT_AGREEMENT_STREAMS");
    const unsigned int streams = wanted != nullptr ? static_cast<unsigned int>(std::atoi(wanted)) : 4000;
    CaptureLog log;
    unsigned int looked = 0, places = 0, cuts = 0;
    for (unsigned int seed = 1; looked < streams && !testing::Test::HasFailure(); ++seed) {
        Maker maker(seed);
        const Bytes bytes = maker.make();
        SCOPED_TRACE("stream " + std::to_string(seed) + ", syntax " + std::to_string(maker.syntax()));
        // The check refuses what would run into the header of a file.
        const auto beginsMeta = [&](orvkit::ByteOrder order) {
            return bytes.size() >= 8 && orvkit::loadTag(bytes.data(), order) >> 16 == 2;
        };
        if (beginsMeta(orvkit::ByteOrder::little) || beginsMeta(orvkit::ByteOrder::big)) continue;
        ++looked;
        std::set<unsigned int> tags;
        bool lengthsDefined = true;
        std::uint64_t begin = 0;
        const Trace trace = walked(bytes, maker.syntax());
        for (const Place& place : scanned(bytes, maker.syntax())) {
            // An item where an element belongs is an item to the scanners and an element to the decoder.
            if (trace.stray < place.end) break;
            tags.insert(place.tag);
            lengthsDefined = lengthsDefined && place.defined;
            const auto end = static_cast<std::size_t>(place.end);
            const Decoded d = decoded(bytes, end, maker.syntax());
            if (d.order) break;
            // A fault inside of a sequence or item whose length is known ends decoding all the same.
            const bool within =
                std::ranges::any_of(trace.passed, [&](const Passed& p) { return p.holds(d.fault); });
            if (d.result != 0 && within) break;
            EXPECT_EQ(d.result, 0) << end;
            EXPECT_EQ(d.used, end);
            EXPECT_EQ(d.tags, tags);
            // The check is stricter there: nobody is told that something may be lost.
            if (!d.missing) {
                EXPECT_NE(checked(bytes, end, maker.syntax(), maker), StoreCheck::Verdict::broken) << end;
            }
            ++places;
            // A byte short they all miss it, if the element has a value.
            if (lengthsDefined && end - begin > orvkit::kLongHeader) {
                EXPECT_NE(decoded(bytes, end - 1, maker.syntax()).result, 0) << end;
                EXPECT_EQ(checked(bytes, end - 1, maker.syntax(), maker), StoreCheck::Verdict::broken) << end;
                ++cuts;
            }
            begin = place.end;
            log.clear();
        }
        log.clear();
    }
    // The streams are not so damaged that nothing is left to agree about.
    if (!testing::Test::HasFailure()) {
        EXPECT_GT(places, 2 * streams);
        EXPECT_GT(cuts, streams / 2);
    }
}

}  // namespace
