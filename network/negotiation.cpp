// Sub-items 56H to 59H of user information as objects, and their framing (PS3.7 D.3.3.5 to D.3.3.7).
#include "orvkit/negotiation.h"

#include <cstring>
#include <initializer_list>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/fail.h"
#include "foundation/text.h"
#include "network/asso_pdu.h"

using namespace orvkit;

namespace {

using Bytes = std::vector<unsigned char>;

constexpr std::size_t kMostContent = PDU_USER_INFO_MAX - wire::kItemHeader;

struct ExtNeg {
    std::string sopClass;
    Bytes info;
};

struct CommonExtNeg {
    std::string sopClass;
    std::string serviceClass;
    std::string related;  // with backslashes between them
};

struct Identity {
    int type = 0;
    bool responseWanted = false;
    Bytes primary;
    Bytes secondary;
};

Bytes copyOf(const DcPduBytes& bytes) {
    return bytes.data == nullptr ? Bytes() : Bytes(bytes.data, bytes.data + bytes.length);
}
DcPduBytes lent(std::span<const unsigned char> bytes) {
    return {bytes.data(), static_cast<unsigned int>(bytes.size())};
}

bool isUid(std::string_view uid) {
    constexpr std::string_view never("\\\0", 2);
    return !uid.empty() && uid.size() <= wire::kUidLength && uid.find_first_of(never) == uid.npos;
}

// Of a list with backslashes between; an empty list has none.
template <typename Take>
void forEachUid(std::string_view list, Take take) {
    while (!list.empty()) {
        const std::size_t end = list.find('\\');
        take(list.substr(0, end));
        list.remove_prefix(end == list.npos ? list.size() : end + 1);
    }
}

int failNull(const char* reporter) {
    return fail(ACRQ_NULL_ARGUMENT, LOG_ERROR, reporter, "Null argument passed");
}
int failUid(const char* reporter) {
    return fail(ACRQ_INVALID, LOG_ERROR, reporter, "A UID is empty or longer than %u characters",
                wire::kUidLength);
}

// Whether an item has room for its fields of fixed size and these.
int checkContent(const char* reporter, std::size_t fixed, std::initializer_list<std::size_t> fields) {
    std::size_t left = kMostContent - fixed;
    for (const std::size_t field : fields) {
        if (field > left) {
            return fail(ACRQ_INVALID, LOG_ERROR, reporter, "The content exceeds the limit of %u bytes",
                        static_cast<unsigned int>(kMostContent));
        }
        left -= field;
    }
    return RESULT_OK;
}

}  // namespace

struct DcPduNegotiation::Own {
    std::vector<ExtNeg> extNegs;
    std::vector<CommonExtNeg> commonExtNegs;
    std::optional<Identity> identity;
    std::optional<Bytes> response;
};

// ---- life -------------------------------------------------------------------------------------------

DcPduNegotiation::DcPduNegotiation() : own_(new Own) {}
DcPduNegotiation::DcPduNegotiation(const DcPduNegotiation& other) : own_(new Own(*other.own_)) {}
DcPduNegotiation& DcPduNegotiation::operator=(const DcPduNegotiation& other) {
    if (this != &other) *own_ = *other.own_;
    return *this;
}
DcPduNegotiation::~DcPduNegotiation() {
    delete own_;
}

bool DcPduNegotiation::isEmpty() const {
    return own_->extNegs.empty() && own_->commonExtNegs.empty() && !own_->identity && !own_->response;
}

void DcPduNegotiation::clear() {
    *own_ = Own();
}

// ---- user identity ----------------------------------------------------------------------------------

int DcPduNegotiation::setIdentity(const DcPduIdentity* identity) {
    constexpr const char* reporter = "DcPduNegotiation::setIdentity";
    if (identity == nullptr) {
        own_->identity.reset();
        return RESULT_OK;
    }
    if (identity->type < 0 || identity->type > 255) {
        return fail(ACRQ_INVALID, LOG_ERROR, reporter, "Invalid identity type %d", identity->type);
    }
    const int result = checkContent(reporter, 6, {identity->primary.length, identity->secondary.length});
    if (result != RESULT_OK) return result;
    own_->identity = Identity{identity->type, identity->responseWanted != 0, copyOf(identity->primary),
                              copyOf(identity->secondary)};
    return RESULT_OK;
}

int DcPduNegotiation::getIdentity(DcPduIdentity* identity) const {
    if (identity == nullptr) return failNull("DcPduNegotiation::getIdentity");
    if (!own_->identity) return ACRQ_INVALID;
    const Identity& own = *own_->identity;
    *identity = {own.type, own.responseWanted ? 1 : 0, lent(own.primary), lent(own.secondary)};
    return RESULT_OK;
}

int DcPduNegotiation::setIdentityResponse(const DcPduBytes* response) {
    if (response == nullptr) {
        own_->response.reset();
        return RESULT_OK;
    }
    const int result = checkContent("DcPduNegotiation::setIdentityResponse", 2, {response->length});
    if (result == RESULT_OK) own_->response = copyOf(*response);
    return result;
}

int DcPduNegotiation::getIdentityResponse(DcPduBytes* response) const {
    if (response == nullptr) return failNull("DcPduNegotiation::getIdentityResponse");
    if (!own_->response) return ACRQ_INVALID;
    *response = lent(*own_->response);
    return RESULT_OK;
}

// ---- extended negotiation ---------------------------------------------------------------------------

int DcPduNegotiation::extNegAdd(const DcPduExtNeg* item) {
    constexpr const char* reporter = "DcPduNegotiation::extNegAdd";
    if (item == nullptr) return failNull(reporter);
    if (!isUid(item->sopClassUid)) return failUid(reporter);
    const int result = checkContent(reporter, 2, {std::strlen(item->sopClassUid), item->info.length});
    if (result == RESULT_OK) own_->extNegs.push_back({item->sopClassUid, copyOf(item->info)});
    return result;
}

int DcPduNegotiation::getExtNeg(unsigned int index, DcPduExtNeg* item) const {
    if (item == nullptr) return failNull("DcPduNegotiation::getExtNeg");
    if (index >= own_->extNegs.size()) return ACRQ_INVALID;
    const ExtNeg& own = own_->extNegs[index];
    copyText(item->sopClassUid, own.sopClass);
    item->info = lent(own.info);
    return RESULT_OK;
}

int DcPduNegotiation::commonExtNegAdd(const DcPduCommonExtNeg* item) {
    constexpr const char* reporter = "DcPduNegotiation::commonExtNegAdd";
    if (item == nullptr) return failNull(reporter);
    const std::string_view related = item->relatedUids != nullptr ? item->relatedUids : "";
    std::size_t lengths = 0;
    bool sound = isUid(item->sopClassUid) && isUid(item->serviceClassUid);
    forEachUid(related, [&](std::string_view uid) {
        sound = sound && isUid(uid);
        lengths += 2 + uid.size();
    });
    if (!sound) return failUid(reporter);
    const int result = checkContent(
        reporter, 6, {std::strlen(item->sopClassUid), std::strlen(item->serviceClassUid), lengths});
    if (result == RESULT_OK) {
        own_->commonExtNegs.push_back({item->sopClassUid, item->serviceClassUid, std::string(related)});
    }
    return result;
}

int DcPduNegotiation::getCommonExtNeg(unsigned int index, DcPduCommonExtNeg* item) const {
    if (item == nullptr) return failNull("DcPduNegotiation::getCommonExtNeg");
    if (index >= own_->commonExtNegs.size()) return ACRQ_INVALID;
    const CommonExtNeg& own = own_->commonExtNegs[index];
    copyText(item->sopClassUid, own.sopClass);
    copyText(item->serviceClassUid, own.serviceClass);
    item->relatedUids = own.related.c_str();
    return RESULT_OK;
}

// ---- on the wire ------------------------------------------------------------------------------------

namespace {

// Fields with their length in front.
DcPduBytes takeField(ByteReader& in) {
    const auto field = in.bytes(in.u16());
    return {field.data(), static_cast<unsigned int>(field.size())};
}
void putField(ByteWriter& out, const void* data, std::size_t length) {
    out.u16(static_cast<std::uint16_t>(length));
    out.bytes(data, length);
}
void putField(ByteWriter& out, const DcPduBytes& bytes) {
    putField(out, bytes.data, bytes.length);
}
void putField(ByteWriter& out, std::string_view uid) {
    putField(out, uid.data(), uid.size());
}

// Without blanks and NULs behind it. Empty when it is no UID of a list.
std::string takeUid(ByteReader& in) {
    const DcPduBytes field = takeField(in);
    std::string uid(reinterpret_cast<const char*>(field.data), field.length);
    while (!uid.empty() && (uid.back() == '\0' || uid.back() == ' ')) uid.pop_back();
    return isUid(uid) ? uid : std::string();
}

bool takeExtNeg(ByteReader& in, DcPduNegotiation& negotiation) {
    DcPduExtNeg item;
    copyText(item.sopClassUid, takeUid(in));
    item.info = lent(in.rest());
    return !in.failed() && item.sopClassUid[0] != '\0' && negotiation.extNegAdd(&item) == RESULT_OK;
}

// What stands behind the related classes is of later versions of the item.
bool takeCommonExtNeg(ByteReader& in, DcPduNegotiation& negotiation) {
    DcPduCommonExtNeg item;
    copyText(item.sopClassUid, takeUid(in));
    copyText(item.serviceClassUid, takeUid(in));
    ByteReader list(in.bytes(in.u16()), ByteOrder::big);
    std::string related;
    while (list.remaining() != 0) {
        const std::string uid = takeUid(list);
        if (uid.empty()) return false;
        related += (related.empty() ? "" : "\\") + uid;
    }
    item.relatedUids = related.c_str();
    return !in.failed() && negotiation.commonExtNegAdd(&item) == RESULT_OK;
}

bool takeIdentity(ByteReader& in, DcPduNegotiation& negotiation) {
    DcPduIdentity identity;
    identity.type = in.u8();
    identity.responseWanted = in.u8();
    identity.primary = takeField(in);
    identity.secondary = takeField(in);
    return !in.failed() && in.remaining() == 0 && negotiation.setIdentity(&identity) == RESULT_OK;
}

bool takeResponse(ByteReader& in, DcPduNegotiation& negotiation) {
    const DcPduBytes response = takeField(in);
    return !in.failed() && in.remaining() == 0 && negotiation.setIdentityResponse(&response) == RESULT_OK;
}

}  // namespace

AssoFault orvkit::readNegotiation(PDU_TYPE pdu, std::span<const unsigned char> item,
                                  DcPduNegotiation& negotiation) {
    constexpr const char* reporter = "DcPduAssoAcRq::read";
    ByteReader header(item, ByteOrder::big);
    const unsigned int type = header.u8();
    header.skip(1);
    ByteReader in(header.bytes(header.u16()), ByteOrder::big);
    const bool request = pdu == PDU_TYPE_ASSO_RQ;
    DcPduIdentity identity;
    DcPduBytes response;
    bool again = false;
    bool sound = !header.failed();
    if (type == PDU_ASSO_ITEM_SOP_EXT_NEG) {
        // No reader has ever refused a damaged one.
        if (!sound || !takeExtNeg(in, negotiation)) {
            (void)fail(RESULT_OK, LOG_VALIDATION, reporter, "Invalid content of item 0x56 is ignored");
        }
        return AssoFault::none;
    }
    if (type == PDU_ASSO_ITEM_COMMON_EXT_NEG && request) {
        sound = sound && takeCommonExtNeg(in, negotiation);
    } else if (type == PDU_ASSO_ITEM_IDENTITY && request) {
        again = negotiation.getIdentity(&identity) == RESULT_OK;
        sound = sound && takeIdentity(in, negotiation);
    } else if (type == PDU_ASSO_ITEM_IDENTITY_RESPONSE && !request) {
        again = negotiation.getIdentityResponse(&response) == RESULT_OK;
        sound = sound && takeResponse(in, negotiation);
    }
    if (sound && !again) return AssoFault::none;
    (void)fail(RESULT_OK, LOG_ERROR, reporter,
               again ? "Repeated item 0x%02x" : "Invalid content of item 0x%02x", type);
    return again ? AssoFault::misplacedItem : AssoFault::badItem;
}

void orvkit::writeNegotiation(PDU_TYPE pdu, const DcPduNegotiation& negotiation, ByteWriter& out) {
    const bool request = pdu == PDU_TYPE_ASSO_RQ;
    DcPduExtNeg extNeg;
    for (unsigned int i = 0; negotiation.getExtNeg(i, &extNeg) == RESULT_OK; ++i) {
        const ItemWriter item(out, PDU_ASSO_ITEM_SOP_EXT_NEG);
        putField(out, extNeg.sopClassUid);
        out.bytes(extNeg.info.data, extNeg.info.length);
    }
    DcPduCommonExtNeg common;
    for (unsigned int i = 0; request && negotiation.getCommonExtNeg(i, &common) == RESULT_OK; ++i) {
        const ItemWriter item(out, PDU_ASSO_ITEM_COMMON_EXT_NEG);
        putField(out, common.sopClassUid);
        putField(out, common.serviceClassUid);
        const std::size_t list = out.offset();
        out.u16(0);
        forEachUid(common.relatedUids, [&out](std::string_view uid) { putField(out, uid); });
        out.patchU16(list, static_cast<std::uint16_t>(out.offset() - list - 2));
    }
    DcPduIdentity identity;
    if (request && negotiation.getIdentity(&identity) == RESULT_OK) {
        const ItemWriter item(out, PDU_ASSO_ITEM_IDENTITY);
        out.u8(static_cast<std::uint8_t>(identity.type));
        out.u8(identity.responseWanted != 0 ? 1 : 0);
        putField(out, identity.primary);
        putField(out, identity.secondary);
    }
    DcPduBytes response;
    if (!request && negotiation.getIdentityResponse(&response) == RESULT_OK) {
        const ItemWriter item(out, PDU_ASSO_ITEM_IDENTITY_RESPONSE);
        putField(out, response);
    }
}
