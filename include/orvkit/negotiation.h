// What the user information of an association PDU negotiates beside contexts and roles (PS3.7 D.3.3): SOP
// class extended negotiation (item 56H, D.3.3.5), SOP class common extended negotiation (57H, D.3.3.6), the
// identity of the user (58H, D.3.3.7) and the answer to it (59H). The library carries these; what they mean
// is the application's affair.
#ifndef ORVKIT_NEGOTIATION_H
#define ORVKIT_NEGOTIATION_H

#include "orvkit/export.h"

// What an identity is told by. A peer may send other numbers; they are kept as they came.
enum PDU_IDENTITY : int {
    PDU_IDENTITY_NAME = 1,      // a user name, in UTF-8
    PDU_IDENTITY_PASSCODE = 2,  // a user name, and a passcode as the second field
    PDU_IDENTITY_KERBEROS = 3,  // a Kerberos service ticket
    PDU_IDENTITY_SAML = 4,      // a SAML assertion
    PDU_IDENTITY_JWT = 5,       // a JSON Web Token
};

inline constexpr unsigned int PDU_USER_INFO_MAX = 65535;  // bytes of all user information of a PDU

// Bytes are borrowed: those that are given are needed during the call only, and those that are handed out
// stay until their item is changed or its owner ends.
struct ORVKIT_API DcPduBytes {
    const unsigned char* data = nullptr;
    unsigned int length = 0;
};

struct ORVKIT_API DcPduIdentity {
    int type = PDU_IDENTITY_NAME;  // PDU_IDENTITY, 0 to 255
    int responseWanted = 0;  // not 0: the provider is asked to confirm that it has accepted the identity
    DcPduBytes primary;
    DcPduBytes secondary;  // of a passcode; empty for the others
};

// Extended negotiation of a SOP class. `info` is what the service class defines (PS3.4), such as whether a
// query may be relational (C.5.1.1).
struct ORVKIT_API DcPduExtNeg {
    char sopClassUid[65] = {};
    DcPduBytes info;
};

// Common extended negotiation of a SOP class: the service class that it belongs to, and the general SOP
// classes that stand for it where it is not known itself.
struct ORVKIT_API DcPduCommonExtNeg {
    char sopClassUid[65] = {};
    char serviceClassUid[65] = {};
    const char* relatedUids =
        nullptr;  // with backslashes between them; null for none. Borrowed as DcPduBytes
};

// All of these of one PDU. Copies are independent of each other. Results: 0; ACRQ_NULL_ARGUMENT null;
// ACRQ_INVALID there is no such item, or one that is given has no UID, or more than its fields hold
// (LOG_ERROR; nothing is changed then).
class ORVKIT_API DcPduNegotiation {
  public:
    DcPduNegotiation();
    DcPduNegotiation(const DcPduNegotiation& other);
    DcPduNegotiation& operator=(const DcPduNegotiation& other);
    ~DcPduNegotiation();

    // Null: none any more.
    int setIdentity(const DcPduIdentity* identity);
    int getIdentity(DcPduIdentity* identity) const;
    // The answer of a provider that has accepted an identity and was asked to confirm it: the Kerberos server
    // ticket, SAML response or JSON Web Token; empty for names and passcodes. Null: none any more.
    int setIdentityResponse(const DcPduBytes* response);
    int getIdentityResponse(DcPduBytes* response) const;

    // Items in their order; a class should have one at most. Extended negotiation that is answered has an
    // item in the answer; without one the defaults of the service class hold. Common extended negotiation is
    // proposed and never answered.
    int extNegAdd(const DcPduExtNeg* item);
    int getExtNeg(unsigned int index, DcPduExtNeg* item) const;
    int commonExtNegAdd(const DcPduCommonExtNeg* item);
    int getCommonExtNeg(unsigned int index, DcPduCommonExtNeg* item) const;

    bool isEmpty() const;
    void clear();

  private:
    struct Own;
    Own* own_;
};

#endif
