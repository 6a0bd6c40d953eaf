#include "services/users.h"

#include <algorithm>

#include "orvkit/result.h"
#include "orvkit/tls.h"
#include "platform/secret.h"
#include "services/report.h"
#include "services/word_file.h"

namespace services {

namespace {

#ifdef ORVKIT_WITH_TLS
bool isHash(const std::string& hash) {
    return tlsCheckPasswordHash(hash.c_str()) == RESULT_OK;
}
bool isPassword(std::string_view given, const std::string& hash) {
    const std::string password(given);  // never null
    return tlsCheckPassword(password.data(), static_cast<unsigned int>(password.size()), hash.c_str()) ==
           RESULT_OK;
}
int makeHash(const std::string& password, std::string& hash) {
    char room[512] = "";
    const int result = tlsHashPassword(password.c_str(), room, sizeof room);
    hash = room;
    return result;
}
#else
bool isHash(const std::string&) {
    return false;
}
bool isPassword(std::string_view, const std::string&) {
    return false;
}
int makeHash(const std::string&, std::string&) {
    return TLS_SETTING;
}
#endif

bool isName(const std::string& name) {
    return !name.empty() &&
           std::ranges::none_of(name, [](unsigned char c) { return c < ' ' || c == '"' || c == 127; });
}

}  // namespace

std::shared_ptr<const Users> Users::read(const std::string& file, std::string& fault) {
    std::string text;
    if (!readText(file, text, fault)) return nullptr;
    if (!orvkit::platform::isExposed(file.c_str())) return parse(text, file, fault);
    fault = file + ": everybody can read this file of users (chmod 600)";
    return nullptr;
}

std::shared_ptr<const Users> Users::parse(std::string_view text, const std::string& name,
                                          std::string& fault) {
    const auto users = std::make_shared<Users>();
    const auto take = [&](const std::vector<std::string>& words) -> std::string {
        User user{words[0], words.size() > 1 ? words[1] : ""};
        if (words.size() > 2) return "a user has a name and a hash, and nothing more";
        if (!isName(user.name)) return "a user has a name";
        if (words.size() == 2 && !isHash(user.hash)) return "this is no hash of a password";
        if (std::ranges::find(users->users_, user.name, &User::name) != users->users_.end()) {
            return "'" + user.name + "' was there before";
        }
        users->users_.push_back(std::move(user));
        return "";
    };
    return eachLine(text, name, take, fault) ? users : nullptr;
}

bool Users::knows(const std::string& name, const std::optional<std::string_view>& password) const {
    const auto user = std::ranges::find(users_, name, &User::name);
    if (!password) return user != users_.end() && user->hash.empty();
    if (user != users_.end() && !user->hash.empty()) return isPassword(*password, user->hash);
    const auto other = std::ranges::find_if(users_, [](const User& known) { return !known.hash.empty(); });
    if (other != users_.end()) (void)isPassword(*password, other->hash);
    return false;
}

std::optional<std::string> userLine(const std::string& name, const std::string& password,
                                    std::string& fault) {
    std::string hash;
    forgetFault();
    if (!isName(name)) {
        fault = "a user has a name, without quotes";
    } else if (password.empty()) {
        fault = "there is no password";
    } else if (makeHash(password, hash) == RESULT_OK) {
        return wordText(name) + " " + hash;
    } else {
        fault = lastFault();
    }
    return std::nullopt;
}

}  // namespace services
