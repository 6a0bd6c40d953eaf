// Reading of A-ASSOCIATE-RQ and -AC (PS3.8 9.3.2, 9.3.3, D.1; PS3.7 D.3.3).
//
// The variable part is walked twice: once for its structure, then for its contents. A type or a length that
// would stand past the end reads as 0.
#include <algorithm>
#include <cstring>
#include <iterator>
#include <memory>
#include <span>

#include "dictionary/learned_uids.h"
#include "foundation/block.h"
#include "foundation/bytes.h"
#include "foundation/fail.h"
#include "network/asso_pdu.h"
#include "orvkit/dict.h"
#include "orvkit/util.h"

using namespace orvkit;

namespace {

constexpr unsigned int kVariablePart = wire::kAssoFixedSize - wire::kPduHeader;  // its place in the body
constexpr unsigned int kMostRoleItem = 4095;

// Types with a meaning in an association PDU. Only a tolerant reader knows those behind 56H.
bool isKnown(unsigned int type, bool tolerant) {
    switch (type) {
        case PDU_ASSO_ITEM_APP_CTX:
        case PDU_ASSO_ITEM_PRES_RQ:
        case PDU_ASSO_ITEM_PRES_AC:
        case PDU_ASSO_ITEM_ABST_SYN:
        case PDU_ASSO_ITEM_XFER_SYN:
        case PDU_ASSO_ITEM_USER_INFO:
            return true;
        default:
            return type >= PDU_ASSO_ITEM_MAX_LEN &&
                   type <= (tolerant ? PDU_ASSO_ITEM_IDENTITY_RESPONSE : PDU_ASSO_ITEM_SOP_EXT_NEG);
    }
}

// The items of a variable part, one behind the other; a tolerant reader never comes to stand at one that is
// not known (PS3.8 9.3.1). The position may come to stand past the end: it counts what the items claim.
class Items {
  public:
    Items(const unsigned char* bytes, unsigned int size, bool tolerant)
        : bytes_(bytes), size_(size), tolerant_(tolerant) {
        passUnknown();
    }

    unsigned int type() const { return at_ < size_ ? bytes_[at_] : 0; }
    bool atEnd() const { return at_ >= size_; }
    bool pastEnd() const { return at_ > size_; }
    std::uint64_t at() const { return at_; }
    void step(unsigned int n) {
        at_ += n;
        passUnknown();
    }
    void skip() {
        skipOne();
        passUnknown();
    }
    // What it means that the item here stands where another is due; no type: none stands here.
    AssoFault outOfPlace() const {
        if (type() == 0) return AssoFault::badItem;
        return isKnown(type(), tolerant_) ? AssoFault::misplacedItem : AssoFault::unknownItem;
    }

  private:
    void skipOne() {
        ByteReader in({bytes_, size_}, ByteOrder::big);
        in.skip(static_cast<std::size_t>(at_) + 2);
        at_ += wire::kItemHeader + std::uint64_t{in.u16()};
    }
    void passUnknown() {
        while (tolerant_ && !atEnd() && !isKnown(type(), true)) skipOne();
    }

    const unsigned char* bytes_;
    unsigned int size_;
    bool tolerant_;
    std::uint64_t at_ = 0;
};

constexpr const char* kWalk = "DcPduAssoAcRq::varItemWalk";

// An item stands where it must not.
int failAt(const Items& items, AssoFault& found, const char* place) {
    found = items.outOfPlace();
    return fail(ACRQ_INVALID, LOG_ERROR, kWalk, "Invalid sub item type 0x%04x%s", items.type(), place);
}

// Counts the presentation contexts, all of them those of a request or of an answer.
int walkContexts(Items& items, AssoFault& found, int& contexts) {
    const unsigned int kind = items.type();
    if (kind != PDU_ASSO_ITEM_PRES_RQ && kind != PDU_ASSO_ITEM_PRES_AC)
        return failAt(items, found, ", expecting PDU_ASSO_ITEM_PRES_AC/RQ");
    for (; items.type() == kind; ++contexts) {
        items.step(wire::kPresCtxHeader);
        if (kind == PDU_ASSO_ITEM_PRES_RQ && !items.pastEnd()) {
            if (items.type() != PDU_ASSO_ITEM_ABST_SYN) {
                found = items.outOfPlace();
                return fail(ACRQ_INVALID, LOG_ERROR, kWalk,
                            "Invalid type 0x%04x in sub item #%d, expecting PDU_ASSO_ITEM_ABST_SYN",
                            items.type(), contexts);
            }
            items.skip();
        }
        while (items.type() == PDU_ASSO_ITEM_XFER_SYN) items.skip();
        if (items.pastEnd())
            return fail(ACRQ_INVALID, LOG_ERROR, kWalk, "Buffer length exceeded in sub item #%d", contexts);
    }
    return RESULT_OK;
}

// The stripped text of a field, at most `length` characters; `text` holds one more.
void takeText(std::span<const unsigned char> field, char* text) {
    if (!field.empty()) std::memcpy(text, field.data(), field.size());
    text[field.size()] = '\0';
    (void)utilRemoveSpace(text, UTIL_SPACE_LEADING | UTIL_SPACE_TRAILING);
}

// Stored with blanks up to its full length. False when there is nothing else.
bool takeAeTitle(ByteReader& in, char (&title)[wire::kAeTitleLength + 1]) {
    takeText(in.bytes(wire::kAeTitleLength), title);
    const std::size_t length = std::strlen(title);
    std::memset(title + length, ' ', wire::kAeTitleLength - length);
    title[wire::kAeTitleLength] = '\0';
    return length != 0;
}

}  // namespace

int DcPduAssoAcRq::read(PDU_BLOCK block) {
    constexpr const char* reporter = "DcPduAssoAcRq::read";
    const Block body(readBody(block));
    body_->fault = AssoFault::unread;
    if (body == nullptr) return ACRQ_INVALID;
    body_->info.emplace();
    body_->negotiation.clear();
    const unsigned int length = getLength() - wire::kPduHeader;
    ByteReader in({body.get(), length}, ByteOrder::big);
    const unsigned int version = in.u16();
    const unsigned int known = body_->oneVersionAmongOthers ? version & wire::kVersionBit : version;
    if (known != getProtocolVersion()) {
        body_->fault = AssoFault::version;
        return fail(ACRQ_INVALID, LOG_ERROR, reporter, "Invalid protocol version - 0x%04x", version);
    }
    in.skip(2);
    if (!takeAeTitle(in, body_->info->calledAeTitle)) {
        body_->fault = AssoFault::calledTitle;
        return fail(ACRQ_INVALID, LOG_ERROR, reporter, "Empty Called AE title string");
    }
    if (!takeAeTitle(in, body_->info->callingAeTitle)) {
        body_->fault = AssoFault::callingTitle;
        return fail(ACRQ_INVALID, LOG_ERROR, reporter, "Empty Calling AE title string");
    }
    const unsigned int fixed = std::min(length, kVariablePart);
    body_->fault = AssoFault::badItem;
    const int result = parseVariable(body.get() + fixed, length - fixed);
    if (result == RESULT_OK) body_->fault = AssoFault::none;
    return result;
}

int DcPduAssoAcRq::parseVariable(unsigned char* part, unsigned int length) {
    constexpr const char* reporter = "DcPduAssoAcRq::read";
    int contexts = 0;
    if (const int result = varItemWalk(part, length, contexts); result != RESULT_OK) return result;

    Items items(part, length, body_->tolerant);
    const auto at = [&items] { return static_cast<unsigned int>(items.at()); };  // inside, as was walked
    unsigned int used = 0;
    if (parseSubItem(part + at(), length - at(), PDU_ASSO_ITEM_APP_CTX, wire::kUidLength,
                     body_->info->appCtxName, used) != RESULT_OK) {
        return fail(ACRQ_INVALID, LOG_ERROR, reporter, "Invalid Application Context Name");
    }
    items.skip();
    for (int i = 0; i < contexts; ++i) {
        auto context = std::make_unique<DcPduPresCtx>();
        const int result = parsePresCtxItem(part + at(), length - at(), context.get(), used);
        if (result != RESULT_OK) {
            return fail(result, LOG_ERROR, reporter, "Invalid Presentation Context Item #%d", i);
        }
        if (i < PDU_PRES_CTX_MAX) body_->contexts[i] = std::move(context);
        items.step(used);
    }
    return parseUserInfo(part + at(), length - at());
}

// `part` begins with the user information item and ends with the PDU.
int DcPduAssoAcRq::parseUserInfo(unsigned char* part, unsigned int length) {
    constexpr const char* reporter = "DcPduAssoAcRq::read";
    ByteReader header({part, length}, ByteOrder::big);
    header.skip(2);
    const unsigned int claimed = header.u16();
    Items items(part, length, body_->tolerant);
    items.step(wire::kItemHeader);
    while (items.at() < wire::kItemHeader + std::uint64_t{claimed}) {
        const unsigned int at = static_cast<unsigned int>(std::min<std::uint64_t>(items.at(), length));
        unsigned char* const item = part + at;
        const unsigned int room = length - at;
        unsigned int used = 0;
        int result = RESULT_OK;
        switch (items.type()) {
            case PDU_ASSO_ITEM_MAX_LEN: {
                ByteReader in({item, room}, ByteOrder::big);
                in.skip(wire::kItemHeader);
                const unsigned int most = in.u32();
                if (in.failed()) return fail(ACRQ_INVALID, LOG_ERROR, reporter, "maxPduLen missing");
                body_->info->maxPduLen = most;
                break;
            }
            case PDU_ASSO_ITEM_IMPL_CLASS_UID:
                result = parseSubItem(item, room, PDU_ASSO_ITEM_IMPL_CLASS_UID, wire::kUidLength,
                                      body_->info->implClassUid, used);
                break;
            case PDU_ASSO_ITEM_IMPL_VER_NAME:
                result = parseSubItem(item, room, PDU_ASSO_ITEM_IMPL_VER_NAME,
                                      static_cast<unsigned int>(sizeof body_->info->implVerName - 1),
                                      body_->info->implVerName, used);
                break;
            case PDU_ASSO_ITEM_ROLE_SEL:
                result = parseScpScuRole(item, room, kMostRoleItem);
                break;
            case PDU_ASSO_ITEM_ASYNC_OPS:
                break;
            case PDU_ASSO_ITEM_SOP_EXT_NEG:
            case PDU_ASSO_ITEM_COMMON_EXT_NEG:
            case PDU_ASSO_ITEM_IDENTITY:
            case PDU_ASSO_ITEM_IDENTITY_RESPONSE:
                if (body_->tolerant) result = parseNegotiation(item, room);
                break;
            default:
                // The text belongs elsewhere; those who watch the log know it.
                return fail(RESULT_OK, LOG_ERROR, reporter, "Empty Calling AE title string");
        }
        if (result != RESULT_OK) return result;
        items.skip();
    }
    return RESULT_OK;
}

int DcPduAssoAcRq::parseNegotiation(unsigned char* item, unsigned int room) {
    const AssoFault fault = readNegotiation(getType(), {item, room}, body_->negotiation);
    if (fault == AssoFault::none) return RESULT_OK;
    body_->fault = fault;
    return ACRQ_INVALID;
}

int DcPduAssoAcRq::varItemWalk(unsigned char* buf, unsigned int length, int& contexts) {
    contexts = 0;
    Items items(buf, length, body_->tolerant);
    if (items.type() != PDU_ASSO_ITEM_APP_CTX)
        return failAt(items, body_->fault, ", expecting PDU_ASSO_ITEM_APP_CTX");
    items.skip();
    if (items.pastEnd())
        return fail(ACRQ_INVALID, LOG_ERROR, kWalk, "Insufficient buffer after PDU_ASSO_ITEM_APP_CTX");
    if (const int result = walkContexts(items, body_->fault, contexts); result != RESULT_OK) return result;
    if (items.type() != PDU_ASSO_ITEM_USER_INFO)
        return failAt(items, body_->fault, ", expecting PDU_ASSO_ITEM_USER_INFO");
    items.step(wire::kItemHeader);
    bool maxLength = false;
    for (; !items.atEnd(); items.skip()) {
        if (items.type() < PDU_ASSO_ITEM_MAX_LEN || !isKnown(items.type(), body_->tolerant))
            return failAt(items, body_->fault, " past PDU_ASSO_ITEM_USER_INFO");
        maxLength = maxLength || items.type() == PDU_ASSO_ITEM_MAX_LEN;
    }
    int result = RESULT_OK;
    if (items.pastEnd())
        result = fail(ACRQ_INVALID, LOG_ERROR, kWalk, "Invalid buffer length past all sub items");
    if (!maxLength) result = fail(ACRQ_INVALID, LOG_ERROR, kWalk, "maxPduLen missing");
    return result;
}

int DcPduAssoAcRq::parseSubItem(unsigned char* item, unsigned int room, int type, unsigned int maxLength,
                                char* text, unsigned int& length) {
    constexpr const char* reporter = "DcPduAssoAcRq::parseSubItem";
    ByteReader in({item, room}, ByteOrder::big);
    length = 0;
    const unsigned int found = in.u8();
    if (found != static_cast<unsigned int>(type)) {
        return fail(ACRQ_INVALID, LOG_ERROR, reporter, "Invalid sub item type 0x%04x, expecting 0x%04x",
                    found, static_cast<unsigned int>(type));
    }
    in.skip(1);
    const unsigned int claimed = in.u16();
    const unsigned int most = std::min(maxLength, static_cast<unsigned int>(in.remaining()));
    if (claimed > most) {
        return fail(ACRQ_INVALID, LOG_ERROR, reporter,
                    "Sub item length 0x%04x exceeds buffer length 0x%04x (%d)", claimed, most,
                    static_cast<int>(most));
    }
    takeText(in.bytes(claimed), text);
    length = claimed;
    return RESULT_OK;
}

int DcPduAssoAcRq::parsePresCtxItem(unsigned char* item, unsigned int room, DcPduPresCtx* context,
                                    unsigned int& used) {
    ByteReader in({item, room}, ByteOrder::big);
    context->itemType = in.u8();
    in.skip(3);
    context->presCtxId = in.u8();
    in.skip(1);
    context->result = in.u8();
    Items items(item, room, body_->tolerant);
    items.step(wire::kPresCtxHeader);
    char text[wire::kUidLength + 1];
    unsigned int length = 0;
    const auto parse = [&](int type) {
        const auto at = static_cast<unsigned int>(items.at());
        return parseSubItem(item + at, room - at, type, wire::kUidLength, text, length);
    };
    if (items.type() == PDU_ASSO_ITEM_ABST_SYN) {
        if (const int result = parse(PDU_ASSO_ITEM_ABST_SYN); result != RESULT_OK) return result;
        const DcDictUidInfo* const uid = Dict.findUid(text);
        context->abstractSyntax = uid != nullptr         ? uid->value
                                  : body_->learnsClasses ? orvkit::learnSopClass(text)
                                                         : UID_NONE;
        if (context->abstractSyntax == UID_NONE) {
            logReport(LOG_VALIDATION, "DcPduAssoAcRq::parsePresCtxItem", "Unsupported/unknown UID '%s'",
                      text);
        }
        items.skip();
    }
    // The syntax of a context that was refused means nothing.
    const bool refused = context->itemType == PRES_CTX_TYPE_AC && context->result != 0;
    for (int i = 0; items.type() == PDU_ASSO_ITEM_XFER_SYN; ++i, items.skip()) {
        if (refused) continue;
        if (const int result = parse(PDU_ASSO_ITEM_XFER_SYN); result != RESULT_OK) return result;
        const DcDictUidInfo* const uid = i < PDU_XFER_SYN_MAX ? Dict.findUid(text) : nullptr;
        if (uid != nullptr) context->addXferSyn(uid->value);
    }
    used = static_cast<unsigned int>(std::min<std::uint64_t>(items.at(), room));
    return RESULT_OK;
}

int DcPduAssoAcRq::parseScpScuRole(unsigned char* item, unsigned int room, unsigned int maxLength) {
    constexpr const char* reporter = "DcPduAssoAcRq::parseScpScuRole";
    ByteReader in({item, room}, ByteOrder::big);
    in.skip(2);
    const unsigned int length = in.u16();
    const unsigned int most = std::min(maxLength, static_cast<unsigned int>(in.remaining()));
    if (length > most) {
        return fail(ACRQ_INVALID, LOG_ERROR, reporter, "Item length 0x%04x exceeds buffer length 0x%04x",
                    length, most);
    }
    const unsigned int uidLength = in.u16();
    if (length != uidLength + 4 || uidLength > wire::kUidLength) {
        return fail(ACRQ_INVALID, LOG_ERROR, reporter, "Mismatch in item 0x%04x and UID string length 0x%04x",
                    length, uidLength);
    }
    char text[wire::kUidLength + 1];
    takeText(in.bytes(uidLength), text);
    const int scu = in.u8();
    const int scp = in.u8();
    const DcDictUidInfo* const uid = Dict.findUid(text);
    if (uid == nullptr) return RESULT_OK;

    const int role = (scu != 0 ? wire::kRoleScu : 0) + (scp != 0 ? wire::kRoleScp : 0);
    const auto free = std::find_if(std::begin(body_->roles), std::end(body_->roles),
                                   [](const DcPduScpScuRole& r) { return r.abstractSyntax == UID_NONE; });
    if (free != std::end(body_->roles)) *free = {uid->value, role};
    for (const auto& context : body_->contexts) {
        if (context == nullptr || context->abstractSyntax != uid->value) continue;
        context->role = role;
        break;
    }
    return RESULT_OK;
}
