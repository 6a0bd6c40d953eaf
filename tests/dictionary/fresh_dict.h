// A test that begins and ends with the built-in dictionary and sees every line that is logged.
#ifndef ORVKIT_TESTS_DICTIONARY_FRESH_DICT_H
#define ORVKIT_TESTS_DICTIONARY_FRESH_DICT_H

#include <gtest/gtest.h>

#include <string>

#include "orvkit/dict.h"
#include "support/capture_log.h"

class FreshDict : public ::testing::Test {
  protected:
    FreshDict() { Dict.reset(); }
    ~FreshDict() override { Dict.reset(); }

    // Nothing but this line was logged since the last look.
    void expectLog(LOG_MSG level, const std::string& reporter, const std::string& text) {
        EXPECT_EQ(log.take(), (LogLines{{level, reporter, text}}));
    }

    CaptureLog log;
};

#endif
