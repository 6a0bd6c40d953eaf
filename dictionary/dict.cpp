// The global dictionary, its life, and its tables before and after their first change.
#include "orvkit/dict.h"

#include "dictionary/builtin.h"
#include "dictionary/vr_table.h"
#include "foundation/fail.h"
#include "orvkit/log.h"
#include "orvkit/result.h"

using namespace orvkit;

DcDict Dict;

DcDict::DcDict() : edition_(&edition2008) {
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
    facts_ = {};
    tagIndex_ = {};
    added_ = {};
    subtracted_ = {};
    sequences_ = {};
    uids_ = {};
    currentUidsGone_ = {};
    uidCounter_.next = 1;
    msgIdCounter_.next = 1;
    presCtxIdCounter_.next = 1;
    return RESULT_OK;
}

bool DcDict::isCurrent() const noexcept {
    return edition_ == &editionCurrent;
}

int dictSetEdition(DICT_EDITION edition) {
    if (edition != DICT_EDITION_2008 && edition != DICT_EDITION_CURRENT) {
        return fail(RESULT_DICT_EDITION, LOG_NOTICE, "dictSetEdition",
                    "%d is not an edition of the dictionary", static_cast<int>(edition));
    }
    Dict.edition_ = edition == DICT_EDITION_CURRENT ? &editionCurrent : &edition2008;
    vrRowsInUse = Dict.isCurrent() ? vrRowsCurrent : vrRows2008;
    if (Dict.tagsOwned_) Dict.makeTags();
    return RESULT_OK;
}

DICT_EDITION dictGetEdition() noexcept {
    return Dict.edition_->edition;
}

void DcDict::ownUids() {
    if (uidsOwned_) return;
    uids_.assign(builtinUids.begin(), builtinUids.end());
    uids_.resize(maxUids);
    uidsOwned_ = true;
}
