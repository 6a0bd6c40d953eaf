// The global dictionary, its life, and its tables before and after their first change.
#include "orvkit/dict.h"

#include "dictionary/builtin.h"
#include "orvkit/log.h"
#include "orvkit/result.h"

DcDict Dict;

DcDict::DcDict() {
    if (Log == nullptr) Log = new DcLog;
}

DcDict::~DcDict() {
    delete Log;
    Log = nullptr;
}

int DcDict::reset() {
    tagsOwned_ = false;
    uidsOwned_ = false;
    tags_ = {};
    tagIndex_ = {};
    sequences_ = {};
    uids_ = {};
    uidCounter_.next = 1;
    msgIdCounter_.next = 1;
    presCtxIdCounter_.next = 1;
    return RESULT_OK;
}

void DcDict::ownTags() {
    if (tagsOwned_) return;
    tags_.assign(orvkit::builtinTags.begin(), orvkit::builtinTags.end());
    tagIndex_.assign(orvkit::builtinTagIndex.begin(), orvkit::builtinTagIndex.end());
    tagsOwned_ = true;
}

void DcDict::ownUids() {
    if (uidsOwned_) return;
    uids_.assign(orvkit::builtinUids.begin(), orvkit::builtinUids.end());
    uids_.resize(maxUids);
    uidsOwned_ = true;
}
