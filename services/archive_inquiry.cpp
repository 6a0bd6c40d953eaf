#include "services/archive_inquiry.h"

#include <algorithm>
#include <iterator>

#include "dictionary/uid_text.h"
#include "orvkit/dict.h"
#include "orvkit/keywords.h"
#include "orvkit/result.h"
#include "orvkit/tags.h"
#include "services/handlers.h"
#include "services/network_text.h"

namespace services {

Handler answerFind;    // archive_find.cpp
Handler answerGet;     // archive_get.cpp
Handler answerMove;    // archive_move.cpp
Handler answerCancel;  // long_request.cpp

namespace {

// What the bytes of extended negotiation ask for, in the index's bits (PS3.4 C.5.1.1): the fifth, conversion
// of multi-frame images, is not agreed to, and several values of a key match at any rate.
constexpr unsigned int kNotNegotiable = 0;
constexpr unsigned int kAlwaysSo = 1U << 31;
constexpr unsigned int kNegotiable[] = {INDEX_RELATIONAL, INDEX_DATE_TIME, INDEX_FUZZY_NAMES,
                                        INDEX_TIMEZONE,   kNotNegotiable,  INDEX_EMPTY_VALUE,
                                        kAlwaysSo};

// The SOP classes, and how many of these bytes they have.
struct Model {
    DICT_UID sopClass;
    MSG_TYPE command;
    INDEX_ROOT root;
    unsigned int features;
};
constexpr Model kModels[] = {
    {UID_PAT_ROOT_Q_R_FIND, DICT_MSG_C_FIND_RQ, INDEX_ROOT_PATIENT, 7},
    {UID_STUDY_ROOT_Q_R_FIND, DICT_MSG_C_FIND_RQ, INDEX_ROOT_STUDY, 7},
    {UID_PAT_ROOT_Q_R_MOVE, DICT_MSG_C_MOVE_RQ, INDEX_ROOT_PATIENT, 1},
    {UID_STUDY_ROOT_Q_R_MOVE, DICT_MSG_C_MOVE_RQ, INDEX_ROOT_STUDY, 1},
    {UID_PAT_ROOT_Q_R_GET, DICT_MSG_C_GET_RQ, INDEX_ROOT_PATIENT, 1},
    {UID_STUDY_ROOT_Q_R_GET, DICT_MSG_C_GET_RQ, INDEX_ROOT_STUDY, 1},
    // PS3.4 Y and Z
    {DcUid::CompositeInstanceRootRetrieveMove, DICT_MSG_C_MOVE_RQ, INDEX_ROOT_INSTANCE, 0},
    {DcUid::CompositeInstanceRootRetrieveGet, DICT_MSG_C_GET_RQ, INDEX_ROOT_INSTANCE, 0},
    {DcUid::CompositeInstanceRetrieveWithoutBulkDataGet, DICT_MSG_C_GET_RQ, INDEX_ROOT_INSTANCE, 0},
};

const Model* modelOf(DICT_UID sopClass) {
    const auto* const row = std::ranges::find(kModels, sopClass, &Model::sopClass);
    return row != std::end(kModels) ? row : nullptr;
}

const Model* modelOf(const DcPduExtNeg& item) {
    const auto* const row = std::ranges::find_if(kModels, [&item](const Model& model) {
        return orvkit::uidText(model.sopClass) == std::string_view(item.sopClassUid);
    });
    return row != std::end(kModels) ? row : nullptr;
}

bool isAskedFor(const DcPduExtNeg& item, const Model& model, unsigned int feature) {
    return feature < model.features && kNegotiable[feature] != kNotNegotiable && feature < item.info.length &&
           item.info.data[feature] == 1;
}

// What is asked for of the features that there are.
void agree(const DcPduNegotiation& asked, DcPduNegotiation& answer) {
    DcPduExtNeg item;
    for (unsigned int i = 0; asked.getExtNeg(i, &item) == RESULT_OK; ++i) {
        const Model* const model = modelOf(item);
        if (model == nullptr) continue;
        std::vector<unsigned char> bytes;
        for (unsigned int feature = 0; feature < std::min(item.info.length, 16U); ++feature)
            bytes.push_back(isAskedFor(item, *model, feature) ? 1 : 0);
        item.info = {bytes.data(), static_cast<unsigned int>(bytes.size())};
        (void)answer.extNegAdd(&item);
    }
}

// clang-format off
constexpr Service kServices[] = {
    {DICT_MSG_C_FIND_RQ,   Right::find,     answerFind,   responseTo<DcCmdCFindRsp, DcCmdCFindRq>},
    {DICT_MSG_C_GET_RQ,    Right::retrieve, answerGet,    responseTo<DcCmdCGetRsp, DcCmdCGetRq>},
    {DICT_MSG_C_MOVE_RQ,   Right::retrieve, answerMove,   responseTo<DcCmdCMoveRsp, DcCmdCMoveRq>},
    {DICT_MSG_C_CANCEL_RQ, Right::find,     answerCancel, nullptr},
};
// clang-format on

}  // namespace

void offerInquiries(StoreServer& server) {
    // Who gets objects over its own association is their provider.
    for (DcMsmSopXferSyn& each : server.support) each.role = TSM_ROLE_SCP_SCU;
    for (const Model& model : kModels) supportQueries(server, model.sopClass);
    server.services.emplace_back(kServices);
    server.agree = agree;
}

Inquiry::Inquiry(Provider& provider, DICT_UID sopClass, DcMsg& request)
    : LongRequest(provider, request), sopClass_(sopClass) {
    if (const Model* const model = modelOf(sopClass_)) root_ = model->root;
}

bool Inquiry::isOf(MSG_TYPE command) const {
    DICT_UID asked = UID_NONE;
    (void)request().getValue(T_0000_0002_affectedSopClassUid, asked);
    const Model* const model = modelOf(sopClass_);
    return model != nullptr && model->command == command && asked == sopClass_;
}

bool Inquiry::withoutBulkData() const {
    return sopClass_ == DcUid::CompositeInstanceRetrieveWithoutBulkDataGet;
}

unsigned int Inquiry::how() const {
    const Model* const model = modelOf(sopClass_);
    const DcPduNegotiation& asked = provider().msm().peerNegotiation();
    unsigned int bits = 0;
    DcPduExtNeg item;
    for (unsigned int i = 0; model != nullptr && asked.getExtNeg(i, &item) == RESULT_OK; ++i) {
        if (modelOf(item) != model) continue;
        for (unsigned int feature = 0; feature < model->features; ++feature)
            bits |= isAskedFor(item, *model, feature) ? kNegotiable[feature] & ~kAlwaysSo : 0U;
    }
    return bits;
}

unsigned short Inquiry::statusOf(int result) {
    if (result == RESULT_OK) return kSuccess;
    if (isCancelled()) return kCancelled;
    fail(DcIndex::fault());
    switch (result) {
        case INDEX_KEYS:
            return kDoesNotMatchClass;
        case INDEX_RESULTS:
            fail("there are more results");
            return kOutOfResources;
        case INDEX_TIME:
            fail("the search took too long");
            return kOutOfResources;
        case INDEX_BUSY:
        case INDEX_FULL:
        case ELEM_NO_MEMORY:
            return kOutOfResources;
        default:
            return kUnableToProcess;
    }
}

}  // namespace services
