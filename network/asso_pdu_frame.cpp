// Framing of A-ASSOCIATE-RQ and -AC (PS3.8 9.3.2, 9.3.3, D.1; PS3.7 D.3.3).
#include <cstring>

#include "dictionary/uid_text.h"
#include "foundation/fail.h"
#include "network/asso_pdu.h"
#include "orvkit/util.h"

using namespace orvkit;

namespace {

// A text without the blanks around it.
class Stripped {
  public:
    explicit Stripped(const char* text) {
        std::memcpy(text_, text, strnlen(text, sizeof text_ - 1));
        (void)utilRemoveSpace(text_, UTIL_SPACE_LEADING | UTIL_SPACE_TRAILING);
    }
    explicit Stripped(DICT_UID uid) : Stripped(uidText(uid)) {}
    const char* text() const { return text_; }
    std::size_t length() const { return std::strlen(text_); }

  private:
    char text_[wire::kUidLength + 1] = {};
};

void putText(ByteWriter& out, int type, const Stripped& text) {
    const ItemWriter item(out, type);
    out.bytes(text.text(), text.length());
}

void putText(ByteWriter& out, int type, const char* text) {
    if (text[0] == '\0') return;
    const ItemWriter item(out, type);
    out.bytes(text, std::strlen(text));
}

void putNumber(ByteWriter& out, int type, unsigned int number) {
    const ItemWriter item(out, type);
    out.u32(number);
}

bool putAeTitle(ByteWriter& out, const char* title) {
    const Stripped stripped(title);
    out.bytes(stripped.text(), stripped.length());
    out.fill(' ', wire::kAeTitleLength - stripped.length());
    return stripped.length() != 0;
}

void putRole(ByteWriter& out, const DcPduPresCtx& context) {
    const Stripped uid(context.abstractSyntax);
    const ItemWriter item(out, PDU_ASSO_ITEM_ROLE_SEL);
    out.u16(static_cast<std::uint16_t>(uid.length()));
    out.bytes(uid.text(), uid.length());
    out.u8((context.role & wire::kRoleScu) != 0 ? 1 : 0);
    out.u8((context.role & wire::kRoleScp) != 0 ? 1 : 0);
}

constexpr unsigned int kPresCtxRoom =
    wire::kPresCtxHeader + (1 + PDU_XFER_SYN_MAX) * (wire::kItemHeader + wire::kUidLength);

}  // namespace

int DcPduAssoAcRq::presCtxItemFrame(DcPduPresCtx* context, unsigned char* buf, unsigned int& length) {
    constexpr const char* reporter = "DcPduAssoAcRq::presCtxItemFrame";
    length = 0;
    ByteWriter out({buf, kPresCtxRoom}, ByteOrder::big);
    const bool request = context->itemType == PRES_CTX_TYPE_RQ;
    int syntaxes = 0;
    {
        const ItemWriter item(out, context->itemType);
        out.u8(static_cast<std::uint8_t>(context->presCtxId));
        out.u8(0);
        out.u8(getType() == PDU_TYPE_ASSO_AC ? static_cast<std::uint8_t>(context->result) : 0);
        out.u8(0);
        if (request) putText(out, PDU_ASSO_ITEM_ABST_SYN, Stripped(context->abstractSyntax));
        for (const DICT_UID xferSyn : context->xferSyn) {
            if (xferSyn == UID_NONE) break;
            const Stripped uid(xferSyn);
            if (uid.length() == 0) continue;
            putText(out, PDU_ASSO_ITEM_XFER_SYN, uid);
            ++syntaxes;
        }
    }
    if (request && syntaxes == 0) {
        return fail(ACRQ_INVALID, LOG_ERROR, reporter, "No Transfer Syntax present");
    }
    if (!request && syntaxes > 1) {
        return fail(ACRQ_INVALID, LOG_ERROR, reporter, "%d Transfer Syntaxes, must not exceed one", syntaxes);
    }
    if (out.failed()) return ACRQ_INVALID;
    length = static_cast<unsigned int>(out.offset());
    return RESULT_OK;
}

int DcPduAssoAcRq::frameAsso(unsigned char* buf) {
    constexpr const char* reporter = "DcPduAssoAcRq::frameAsso";
    if (getType() != PDU_TYPE_ASSO_RQ && getType() != PDU_TYPE_ASSO_AC) {
        return fail(ACRQ_PDU_TYPE, LOG_ERROR, reporter, "Invalid PDU type");
    }
    if (!body_->info) {
        return fail(ACRQ_INVALID, LOG_ERROR, reporter, "AC/RQ association data does not exist");
    }
    const DcPduInfoAcRq& info = *body_->info;
    ByteWriter out({buf, PDU_FRAME_ROOM}, ByteOrder::big);
    out.u8(static_cast<std::uint8_t>(getType()));
    out.u8(0);
    out.u32(0);
    out.u16(static_cast<std::uint16_t>(getProtocolVersion()));
    out.u16(0);
    if (!putAeTitle(out, info.calledAeTitle)) {
        return fail(ACRQ_INVALID, LOG_ERROR, reporter, "Invalid calledAeTitle");
    }
    if (!putAeTitle(out, info.callingAeTitle)) {
        return fail(ACRQ_INVALID, LOG_ERROR, reporter, "Invalid callingAeTitle");
    }
    out.fill(0, 32);
    putText(out, PDU_ASSO_ITEM_APP_CTX, Stripped(info.appCtxName));

    int framed = 0;
    for (const auto& context : body_->contexts) {
        unsigned char item[kPresCtxRoom];
        unsigned int length = 0;
        // One that cannot be framed is left out; the log tells.
        if (context == nullptr || presCtxItemFrame(context.get(), item, length) != RESULT_OK) continue;
        out.bytes(item, length);
        ++framed;
    }
    if (framed == 0) return fail(ACRQ_INVALID, LOG_ERROR, reporter, "No presentation context items");

    {
        const ItemWriter user(out, PDU_ASSO_ITEM_USER_INFO);
        putNumber(out, PDU_ASSO_ITEM_MAX_LEN, info.maxPduLen);
        putText(out, PDU_ASSO_ITEM_IMPL_CLASS_UID, info.implClassUid);
        for (const auto& context : body_->contexts) {
            if (context != nullptr && context->role != 0) putRole(out, *context);
        }
        putText(out, PDU_ASSO_ITEM_IMPL_VER_NAME, info.implVerName);
        writeNegotiation(getType(), body_->negotiation, out);
        if (user.length() > PDU_USER_INFO_MAX) {
            return fail(ACRQ_INVALID, LOG_ERROR, reporter, "User information of %u bytes, limit is %u",
                        static_cast<unsigned int>(user.length()), PDU_USER_INFO_MAX);
        }
    }
    if (out.failed()) return ACRQ_INVALID;
    setLength(static_cast<unsigned int>(out.offset()));
    out.patchU32(2, getLength() - wire::kPduHeader);
    return RESULT_OK;
}
