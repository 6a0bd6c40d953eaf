#include "services/jwt.h"

#include <algorithm>
#include <array>
#include <nlohmann/json.hpp>
#include <optional>

#include "orvkit/result.h"
#include "orvkit/tls.h"
#include "platform/secret.h"
#include "services/report.h"
#include "services/word_file.h"

namespace services {

namespace {

using Json = nlohmann::json;

constexpr double kSlack = 60;  // seconds that clocks may differ

// Without padding, and without bits that mean nothing (RFC 7515 2).
std::optional<std::string> fromBase64Url(std::string_view text) {
    constexpr std::string_view digits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";
    std::string bytes;
    unsigned int held = 0;
    unsigned int bits = 0;
    for (const char c : text) {
        const std::size_t digit = digits.find(c);
        if (digit == std::string_view::npos) return std::nullopt;
        held = (held << 6 | static_cast<unsigned int>(digit)) & 0xFFF;
        bits += 6;
        if (bits < 8) continue;
        bits -= 8;
        bytes += static_cast<char>(held >> bits & 0xFF);
    }
    if (bits >= 6 || (held & ((1u << bits) - 1)) != 0) return std::nullopt;
    return bytes;
}

std::optional<Json> objectIn(std::string_view part) {
    const std::optional<std::string> text = fromBase64Url(part);
    if (!text) return std::nullopt;
    Json object = Json::parse(*text, nullptr, false);
    if (!object.is_object()) return std::nullopt;
    return object;
}

std::string claimText(const Json& object, const char* name) {
    const auto at = object.find(name);
    return at != object.end() && at->is_string() ? at->get<std::string>() : "";
}

bool isFor(const Json& claims, const std::string& audience) {
    const auto at = claims.find("aud");
    if (at == claims.end()) return false;
    const auto is = [&](const Json& value) {
        return value.is_string() && value.get_ref<const std::string&>() == audience;
    };
    return is(*at) || (at->is_array() && std::any_of(at->begin(), at->end(), is));
}

// Why the claims do not hold, or "".
std::string judge(const Json& claims, const TokenRules& rules, double now) {
    const auto end = claims.find("exp");
    const auto begin = claims.find("nbf");
    if (end == claims.end() || !end->is_number()) return "it does not tell when it expires";
    if (now >= end->get<double>() + kSlack) return "it has expired";
    if (begin != claims.end() && !begin->is_number()) return "it does not tell when it begins";
    if (begin != claims.end() && now < begin->get<double>() - kSlack) return "it is not valid yet";
    if (!isFor(claims, rules.audience)) return "it is not for " + rules.audience;
    return claimText(claims, "sub").empty() ? "it has no subject" : "";
}

bool isSigned(const std::string& algorithm, const std::string& keys, std::string_view text,
              const std::string& signature) {
#ifdef ORVKIT_WITH_TLS
    const auto length = [](std::string_view bytes) { return static_cast<unsigned int>(bytes.size()); };
    return tlsCheckSignature(algorithm.c_str(), keys.data(), length(keys), text.data(), length(text),
                             signature.data(), length(signature)) == RESULT_OK;
#else
    (void)algorithm, (void)keys, (void)text, (void)signature;
    return false;
#endif
}

}  // namespace

bool readKeys(const std::string& file, TokenRules& rules, std::string& fault) {
    if (!readText(file, rules.keys, fault)) return false;
#ifdef ORVKIT_WITH_TLS
    char algorithms[64] = "";
    forgetFault();
    if (tlsDescribeKeys(rules.keys.data(), static_cast<unsigned int>(rules.keys.size()), algorithms,
                        sizeof algorithms) != RESULT_OK) {
        fault = file + ": " + lastFault();
        return false;
    }
    if (std::string_view(algorithms) != "HS256" || !orvkit::platform::isExposed(file.c_str())) return true;
    fault = file + ": everybody can read this secret (chmod 600)";
#else
    fault = file + ": tokens cannot be checked: this orvkit was built without OpenSSL";
#endif
    return false;
}

std::string checkToken(std::string_view token, const TokenRules& rules, std::int64_t now,
                       std::string& subject) {
    const std::size_t first = token.find('.');
    const std::size_t second = first == std::string_view::npos ? first : token.find('.', first + 1);
    if (second == std::string_view::npos) return "it is no token";
    const std::optional<Json> header = objectIn(token.substr(0, first));
    const std::optional<std::string> signature = fromBase64Url(token.substr(second + 1));
    if (!header || !signature) return "it is no token";
    if (header->contains("crit")) return "it wants what is not known here";
    if (!isSigned(claimText(*header, "alg"), rules.keys, token.substr(0, second), *signature)) {
        return "its signature does not hold";
    }
    const std::optional<Json> claims = objectIn(token.substr(first + 1, second - first - 1));
    if (!claims) return "it has no claims";
    std::string fault = judge(*claims, rules, static_cast<double>(now));
    if (fault.empty()) subject = claimText(*claims, "sub");
    return fault;
}

}  // namespace services
