// How much memory a piece of a test holds at most.
#ifndef ORVKIT_TESTS_SUPPORT_ALLOCATION_METER_H
#define ORVKIT_TESTS_SUPPORT_ALLOCATION_METER_H

#include <cstddef>

// Counts the bytes that `new` gives out, from its construction on. The test program's own operator new counts
// for the whole program; what the C library's malloc gives to others is not seen. For one thread. A block
// that is released in another form than it was taken in (with or without brackets) ends the program.
class AllocationMeter {
  public:
    AllocationMeter();
    std::size_t peak() const;  // beyond what was held when the meter began
    std::size_t live() const;

  private:
    std::size_t start_;
};

// Lets one allocation fail, counted from its construction, from 1.
class AllocationFault {
  public:
    explicit AllocationFault(long number);
    ~AllocationFault();
    bool met() const;
};

#endif
