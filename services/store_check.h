// Looks at a data set while it passes by on its way to a file: whether it ends where its elements end, and
// whether it is the object that its command announced.
#ifndef ORVKIT_SERVICES_STORE_CHECK_H
#define ORVKIT_SERVICES_STORE_CHECK_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "orvkit/uids.h"

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
    // What is open around the next header: each a value of undefined length, or an item of one.
    enum class Inside : unsigned char { sequence, item, fragments };
    struct Level {
        Inside inside;
        bool explicitVr;
        bool certain;  // that the value is a sequence: it may only look like one
    };

    std::size_t takeHead(const unsigned char* data, std::size_t length);
    std::size_t takeValue(const unsigned char* data, std::size_t length);
    unsigned int number(std::size_t at, std::size_t size) const;
    void header();
    void element(unsigned int tag);
    void open(unsigned int tag, bool explicitVr);
    void delimiter(unsigned int tag);
    void push(Level level);
    void value(std::uint64_t length);
    void valueComplete();
    void stop(Verdict verdict, std::string fault);
    void giveUp() { done_ = true; }

    std::string sopClass_;
    std::string instance_;
    bool explicitVr_;
    bool big_;
    bool done_ = false;
    Verdict verdict_ = Verdict::good;
    std::string fault_;

    unsigned char head_[12] = {};
    std::size_t headSize_ = 0;
    std::size_t headWanted_ = 8;
    unsigned int tag_ = 0;    // of the value that is passing
    std::uint64_t left_ = 0;  // bytes of it
    bool kept_ = false;       // in text_
    std::string text_;
    std::vector<Level> levels_;
};

}  // namespace services

#endif
