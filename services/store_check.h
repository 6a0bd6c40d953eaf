// Looks at a data set while it passes by on its way to a file: whether it ends where its elements end, and
// whether it is the object that its command announced.
#ifndef ORVKIT_SERVICES_STORE_CHECK_H
#define ORVKIT_SERVICES_STORE_CHECK_H

#include <cstddef>
#include <string>

#include "encoding/walk.h"
#include "services/reread.h"

namespace services {

// Steps from header to header: values are passed over by their lengths, and nothing but the two UIDs is kept.
// Held against the object is only what shows that something is lost or belongs to another object. What real
// devices do without loss passes: UIDs that are absent from the data set, zeros or blanks behind the last
// element, missing delimiters at the end. Deflated data sets pass unseen. A structure that cannot be followed
// ends the check without a fault, for the decoder may know better.
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
    bool unseen_;  // packed
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
