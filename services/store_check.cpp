#include "services/store_check.h"

#include <algorithm>
#include <utility>

#include "orvkit/tags.h"
#include "services/charset.h"
#include "services/text.h"

namespace services {

using orvkit::WalkFault;

namespace {

constexpr std::uint64_t kLongestLookedAt = 128;  // longer ones are not looked at

}  // namespace

StoreCheck::StoreCheck(DICT_UID xferSyn, std::string sopClass, std::string instance)
    : sopClass_(std::move(sopClass)),
      instance_(std::move(instance)),
      walk_(orvkit::Mode::of(xferSyn)),
      reread_(orvkit::Mode::of(xferSyn)),
      unseen_(orvkit::syntaxRow(xferSyn).packing != orvkit::Packing::plain),
      done_(false) {
    if (const orvkit::DataSetCodec* const codec = orvkit::codecOf(xferSyn); codec != nullptr) {
        unseen_ = false;
        pump_.emplace(codec->decoder(), inside_, codec->most());
    }
    done_ = unseen_;
}

void StoreCheck::stop(Verdict verdict, std::string fault) {
    if (done_) return;
    done_ = true;
    verdict_ = verdict;
    fault_ = std::move(fault);
}

bool StoreCheck::betweenElements() const {
    return walk_.nesting().empty() && walk_.left() == 0 && walk_.begun().empty();
}

void StoreCheck::pass(const unsigned char* data, std::size_t length) {
    if (!pump_) return walk(data, length);
    unpack({data, length}, false);
}

// What stands behind the end of the stream is padding, or nobody's.
void StoreCheck::unpack(std::span<const unsigned char> bytes, bool last) {
    using orvkit::CodecFault;
    const CodecFault fault = verdict_ == Verdict::good ? pump_->push(bytes, last) : CodecFault::none;
    if (fault == CodecFault::none) return;
    done_ = false;
    stop(Verdict::broken, fault == CodecFault::tooLarge ? "its deflated data set becomes too large"
                          : fault == CodecFault::memory ? "there is no memory to inflate its data set"
                                                        : "its deflated data set is cut or damaged");
}

void StoreCheck::walk(const unsigned char* data, std::size_t length) {
    while (length > 0 && !done_) {
        // Elements of zeros are padding.
        if (betweenElements() && walk_.passing() != 0) reread_.mark();
        const std::size_t taken = walk_.take({data, length});
        reread_.add({data, taken});
        if (kept_) text_.append(data, data + taken);
        if (walk_.met()) element(walk_.header());
        if (betweenElements()) reread_.valueEnds();
        if (kept_ && walk_.left() == 0) valueComplete();
        if (walk_.fault() != WalkFault::none) faulty();
        if (walk_.searching()) giveUp();
        data += taken;
        length -= taken;
    }
    if (lost_) reread_.add({data, length});
}

// The decoder may know better.
void StoreCheck::giveUp() {
    if (done_) return;
    reread_.searchEnd();
    done_ = lost_ = true;
}

void StoreCheck::end() {
    if (pump_) unpack({}, true);
    if (!done_) endOfElements();
    if (unseen_ || verdict_ != Verdict::good) return;
    done_ = false;
    const std::string fault = reread_.fault(lost_);
    if (!fault.empty()) stop(Verdict::broken, "its data set cannot be read: " + withEscapes(fault));
}

void StoreCheck::endOfElements() {
    if (!begun_) return stop(Verdict::broken, "its data set has no element");
    if (betweenElements() && walk_.passing() != 0) reread_.mark();
    // What only looked like a sequence proves nothing.
    if (!walk_.nesting().certain()) return;
    if (walk_.left() > 0) {
        return stop(Verdict::broken, "its data set ends " + std::to_string(walk_.left()) +
                                         " bytes before the end of element " + tagText(walk_.passing()));
    }
    const bool padding =
        std::ranges::all_of(walk_.begun(), [](unsigned char c) { return c == 0 || c == ' '; });
    if (!padding) return stop(Verdict::broken, "its data set ends inside the header of an element");
    if (walk_.nesting().empty()) reread_.cutToMark();
}

void StoreCheck::element(const orvkit::WalkHeader& h) {
    // Items have a meaning in sequences only.
    if (orvkit::isItemTag(h.tag)) return giveUp();
    // It would run into the meta information of the file, which has these elements (PS3.10 7.1).
    if (!begun_ && h.tag >> 16 == 2) {
        return stop(Verdict::broken,
                    "its data set begins with group 0002, which belongs to the header of a file");
    }
    begun_ = begun_ || h.tag != 0;
    const bool outermost =
        h.length == orvkit::kLengthUndefined ? walk_.nesting().depth() == 1 : walk_.nesting().empty();
    if (outermost) reread_.valueBegins(h);
    kept_ = walk_.nesting().empty() && h.length > 0 && h.length <= kLongestLookedAt &&
            (h.tag == T_0008_0016_sopClassUid || h.tag == T_0008_0018_sopInstanceUid);
    if (kept_) text_.clear();
}

void StoreCheck::faulty() {
    if (walk_.fault() != WalkFault::tooDeep) return giveUp();
    stop(Verdict::broken,
         "its sequences are nested deeper than " + std::to_string(orvkit::kMostNesting) + " levels");
}

void StoreCheck::valueComplete() {
    kept_ = false;
    const bool isClass = walk_.passing() == T_0008_0016_sopClassUid;
    const std::string uid(trimmed(text_));
    if (uid.empty() || uid == trimmed(isClass ? sopClass_ : instance_)) return;
    stop(isClass ? Verdict::otherClass : Verdict::otherInstance,
         std::string("its data set names another SOP ") + (isClass ? "class" : "instance") + ": " +
             withEscapes(uid));
}

}  // namespace services
