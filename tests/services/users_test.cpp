// Users by their passwords and tokens.
#ifdef ORVKIT_WITH_TLS
#include "services/users.h"

#include <gtest/gtest.h>
#include <openssl/hmac.h>

#include "services/identity.h"
#include "services/trace.h"
#include "support/base64_url.h"
#include "support/capture_log.h"

namespace {

using services::Users;

std::string lineOf(const char* name, const char* password) {
    std::string fault;
    return services::userLine(name, password, fault).value_or(fault);
}

TEST(Users, ComeInByTheirPasswordsAlone) {
    const QuietLog quiet;
    std::string fault;
    const auto users = Users::parse(
        lineOf("joe", "secret") + "\nscanner # by its name\n" + lineOf("ward nurse", "\xC3\xA4 b") + "\n", "",
        fault);
    ASSERT_TRUE(users != nullptr) << fault;
    const struct {
        const char* name;
        std::optional<std::string_view> password;
        bool known;
    } rows[] = {{"joe", "secret", true},
                {"joe", "secre", false},
                {"joe", std::string_view("secret\0x", 8), false},
                {"joe", std::string_view(), false},
                {"joe", std::nullopt, false},
                {"Joe", "secret", false},
                {"scanner", std::nullopt, true},
                {"scanner", "", false},
                {"ward nurse", "\xC3\xA4 b", true},
                {"nobody", "secret", false},
                {"", std::nullopt, false}};
    for (const auto& row : rows)
        EXPECT_EQ(users->knows(row.name, row.password), row.known) << row.name << row.password.value_or("-");
    const struct {
        const char* text;
        const char* fault;
    } wrong[] = {{"\njoe secret", ":2: this is no hash of a password"},
                 {"joe ab0123456789a", ":1: this is no hash of a password"},
                 {"joe\njoe", ":2: 'joe' was there before"},
                 {"\"\"", ":1: a user has a name"},
                 {"a b c", ":1: a user has a name and a hash, and nothing more"}};
    for (const auto& row : wrong) {
        EXPECT_EQ(Users::parse(row.text, "", fault), nullptr);
        EXPECT_EQ(fault, row.fault);
    }
    EXPECT_EQ(lineOf("a\"b", "x"), "a user has a name, without quotes");
    EXPECT_EQ(lineOf("a", ""), "there is no password");
}

const std::string kSecret(40, 'k');
constexpr std::int64_t kNow = 1'800'000'000;

std::string token(std::string_view header, std::string_view claims) {
    const std::string text = base64Url(header) + "." + base64Url(claims);
    unsigned char code[32];
    HMAC(EVP_sha256(), kSecret.data(), static_cast<int>(kSecret.size()),
         reinterpret_cast<const unsigned char*>(text.data()), text.size(), code, nullptr);
    return text + "." + base64Url({reinterpret_cast<const char*>(code), sizeof code});
}

TEST(Tokens, HoldByTheirClaims) {
    const QuietLog quiet;
    const services::TokenRules rules{kSecret, "SITE"};
    const char* const header = R"({"alg":"HS256"})";
    const std::string good = token(header, R"({"sub":"ann","aud":"SITE","exp":1800000001})");
    std::string changed = good;
    changed[good.find('.') + 5] ^= 1;
    const struct {
        std::string token;
        const char* fault;
    } rows[] = {
        {good, ""},
        {token(header, R"({"sub":"ann","aud":["X","SITE"],"exp":1799999941.5,"nbf":1800000059})"), ""},
        {token(header, R"({"sub":"ann","aud":"SITE","exp":1799999940})"), "it has expired"},
        {token(header, R"({"sub":"ann","aud":"SITE"})"), "it does not tell when it expires"},
        {token(header, R"({"sub":"ann","aud":"SITE","exp":"1800000001"})"),
         "it does not tell when it expires"},
        {token(header, R"({"sub":"ann","aud":"SITE","exp":1800000001,"nbf":1800000061})"),
         "it is not valid yet"},
        {token(header, R"({"sub":"ann","aud":"SITE","exp":1800000001,"nbf":{}})"),
         "it does not tell when it begins"},
        {token(header, R"({"sub":"ann","aud":["X",1],"exp":1800000001})"), "it is not for SITE"},
        {token(header, R"({"sub":"ann","exp":1800000001})"), "it is not for SITE"},
        {token(header, R"({"sub":1,"aud":"SITE","exp":1800000001})"), "it has no subject"},
        {token(header, "[1]"), "it has no claims"},
        {token(R"({"alg":"none"})", "{}"), "its signature does not hold"},
        {token(R"({"alg":"RS256"})", "{}"), "its signature does not hold"},
        {token(R"({"alg":"HS256","crit":["x"]})", "{}"), "it wants what is not known here"},
        {changed, "its signature does not hold"},
        {good + "=", "it is no token"},
        {good + "A", "its signature does not hold"},
        {good.substr(0, good.rfind('.')), "it is no token"},
        {"", "it is no token"},
        {"..", "it is no token"}};
    for (const auto& row : rows) {
        std::string subject;
        EXPECT_EQ(services::checkToken(row.token, rules, kNow, subject), row.fault) << row.token;
        EXPECT_EQ(subject, *row.fault == '\0' ? "ann" : "");
    }
}

TEST(Identities, AreTakenByWhatChecksThem) {
    const QuietLog quiet;
    std::string fault;
    services::IdentityRules rules;
    rules.users = Users::parse("scanner\n" + lineOf("joe", "secret"), "", fault);
    rules.program = "cat >/dev/null; printf fine";
    rules.programTime = 5;
    services::IdentityCheck check, none;
    check.use(rules);
    services::IdentityRules insecure;
    insecure.insecure = true;
    none.use(insecure);
    const DcSecurityInfo tls;
    const auto bytes = [](std::string_view text) {
        return DcPduBytes{reinterpret_cast<const unsigned char*>(text.data()),
                          static_cast<unsigned int>(text.size())};
    };
    const struct {
        int type;
        const char* primary;
        const char* secondary;
        bool secured, accepted;
        const char* response;  // null: none
        const char* told;
        bool checked = true;
    } rows[] = {
        {1, "scanner", "", false, true, "", "user 'scanner'"},
        {2, "joe", "secret", true, true, "", "user 'joe', with a passcode"},
        {2, "joe", "", true, false, nullptr,
         "user 'joe', with a passcode: the name or the passcode is wrong"},
        {2, "joe", "secret", false, false, nullptr,
         "user 'joe', with a passcode, in clear: without TLS that is taken with --insecure alone"},
        {4, "<a/>", "", true, true, "fine", "a user with a SAML assertion"},
        {5, "token", "", true, true, "fine", "a user with a JSON Web Token"},
        {1, "joe", "", false, true, "", "user 'joe', accepted without a check", false},
        {2, "joe", "x", false, true, "", "user 'joe', with a passcode, accepted without a check", false},
        {3, "t", "", false, true, nullptr,
         "a user with a Kerberos ticket, accepted without a check and not confirmed", false}};
    for (const auto& row : rows) {
        DcPduIdentity identity{row.type, 1, bytes(row.primary), bytes(row.secondary)};
        const auto judged =
            (row.checked ? check : none).judge(&identity, {"A", "::1", row.secured ? &tls : nullptr});
        EXPECT_EQ(judged.accepted, row.accepted) << row.told;
        EXPECT_EQ(judged.told, row.told);
        ASSERT_EQ(judged.response.has_value(), row.response != nullptr) << row.told;
        if (row.response == nullptr) continue;
        EXPECT_EQ(std::string(judged.response->begin(), judged.response->end()), row.response);
    }
    EXPECT_FALSE(check.judge(nullptr, {"A", "::1", &tls}).accepted);
    for (const char* const program : {"exit 3", "kill -9 $$", "sleep 20", "/nowhere/program"}) {
        rules.program = program;
        rules.programTime = 1;
        check.use(rules);
        const DcPduIdentity identity{3, 0, bytes("ticket"), {}};
        EXPECT_FALSE(check.judge(&identity, {"A", "::1", &tls}).accepted) << program;
    }
}

TEST(Traces, AreLinesOfJsonWhateverThePeerSays) {
    services::Event event(services::EventId::transfer);
    event.peer = "A\"\\\n\xFF";
    event.address = "::1";
    event.bytes = 5;
    EXPECT_EQ(services::traceLine(event, "S", 1'795'435'200'000'007),
              "{\"EventDateTime\":\"2026-11-23T12:00:00.000007Z\",\"EventID\":\"110104\",\"EventName\":"
              "\"DICOM Instances "
              "Transferred\",\"EventActionCode\":\"C\",\"EventOutcomeIndicator\":0,\"AuditSourceID\":\"S\","
              "\"UserID\":\"A\\\"\\\\\\u000a\xEF\xBF\xBD\",\"NetworkAccessPointID\":\"::1\","
              "\"NetworkAccessPointTypeCode\":2,\"bytes\":5}\n");
}

}  // namespace
#endif
