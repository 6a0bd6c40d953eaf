// Looks at a data set while it passes by on its way to a file: whether it ends where its elements end, and
// whether it is the object that its command announced.
#ifndef ORVKIT_SERVICES_STORE_CHECK_H
#define ORVKIT_SERVICES_STORE_CHECK_H

#include <cstddef>
#include <optional>
#include <string>

#include "encoding/codec.h"
#include "encoding/walk.h"
#include "services/reread.h"

namespace services {

// Steps from header to header: values are passed over by their lengths, and nothing but the two UIDs is kept.
// Held against the object is only what shows that something is lost or belongs to another object. What real
// devices do without loss passes: UIDs that are absent from the data set, zeros or blanks behind the last
// element, missing delimiters at the end. Deflated data sets are inflated on the way, and pass unseen where
// nobody has brought the codec. A structure that cannot be followed ends the check without a fault, for the
// decoder may know better.
class StoreCheck {
  public:
    enum class Verdict : unsigned char { good, otherClass, otherInstance, broken };

    StoreCheck(DICT_UID xferSyn, std::string sopClass, std::string instance);

    // The next bytes of the data set.
    void pass(const unsigned char* data, std::size_t length);
    // Nothing follows.
    void end();

    Verdict verdict() const { return verdict_; }
    // What is wrong, in words; "" while the verdict is good.
    const std::string& fault() const { return fault_; }

  private:
    // Takes what is unpacked.
    class Inside final : public orvkit::ByteSink {
      public:
        explicit Inside(StoreCheck& check) : check_(check) {}
        [[nodiscard]] bool put(std::span<const unsigned char> bytes) override {
            check_.walk(bytes.data(), bytes.size());
            return true;
        }

      private:
        StoreCheck& check_;
    };

    void walk(const unsigned char* data, std::size_t length);
    void unpack(std::span<const unsigned char> bytes, bool last);
    void element(const orvkit::WalkHeader& header);
    void faulty();
    void valueComplete();
    void stop(Verdict verdict, std::string fault);
    void giveUp();
    void endOfElements();
    bool betweenElements() const;

    std::string sopClass_;
    std::string instance_;
    orvkit::PushWalk walk_;
    Reread reread_;
    bool unseen_;  // packed, without a codec
    Inside inside_{*this};
    std::optional<orvkit::CodecPump> pump_;
    bool done_;
    bool lost_ = false;   // the structure could not be followed
    bool begun_ = false;  // an element has come
    Verdict verdict_ = Verdict::good;
    std::string fault_;
    bool kept_ = false;  // the value that is passing, in text_
    std::string text_;
};

}  // namespace services

#endif
