// A test that begins and ends with the built-in dictionary and sees every line that is logged.
#ifndef ORVKIT_TESTS_DICTIONARY_FRESH_DICT_H
#define ORVKIT_TESTS_DICTIONARY_FRESH_DICT_H

#include "orvkit/dict.h"
#include "orvkit/edition.h"
#include "support/capture_log.h"

class FreshDict : public ::testing::Test {
  protected:
    FreshDict() { Dict.reset(); }
    ~FreshDict() override {
        dictSetEdition(DICT_EDITION_2008);
        Dict.reset();
    }

    CaptureLog log;
};

#endif
