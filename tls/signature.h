// Signatures of tokens (RFC 7515, RFC 7518 3, RFC 8037): tlsDescribeKeys, tlsCheckSignature.
#ifndef ORVKIT_TLS_SIGNATURE_H
#define ORVKIT_TLS_SIGNATURE_H

#include <string>

#include "tls/engine.h"

namespace orvkit::tls {

int describeKeys(Bytes keys, std::string& algorithms, Words& fault);
int checkSignature(const char* algorithm, Bytes keys, Bytes text, Bytes signature, Words& fault);

}  // namespace orvkit::tls

#endif
