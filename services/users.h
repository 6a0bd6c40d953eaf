// The users that a server knows, from a file that people write (word_file.h):
//
//     # One line a user: the name, and the password as crypt(5) hashes it. `orvkit user NAME` makes such a
//     line. joe          $y$j9T$... "ward nurse" $y$j9T$... scanner               # comes in by its name
//     alone
#ifndef ORVKIT_SERVICES_USERS_H
#define ORVKIT_SERVICES_USERS_H

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace services {

class Users {
  public:
    // Null when a line is wrong: `fault` is then "FILE:LINE: reason". Nor may everybody be able to read the
    // file.
    static std::shared_ptr<const Users> read(const std::string& file, std::string& fault);
    static std::shared_ptr<const Users> parse(std::string_view text, const std::string& name,
                                              std::string& fault);

    // Whether it is a user, by the password, or without one. It takes as long for those that there are not.
    bool knows(const std::string& name, const std::optional<std::string_view>& password) const;
    std::size_t size() const { return users_.size(); }

  private:
    struct User {
        std::string name;
        std::string hash;  // "": none
    };
    std::vector<User> users_;
};

// A line of the file; nothing, with the reason in `fault`.
std::optional<std::string> userLine(const std::string& name, const std::string& password, std::string& fault);

}  // namespace services

#endif
