#include "index/terms.h"

namespace orvkit::index {

std::int64_t Terms::number(const std::string& uid) {
    const auto known = numbers_.find(uid);
    if (known != numbers_.end()) return known->second;
    Statement& find = session_.kept("SELECT id FROM term WHERE uid = $1");
    if (!find.run(uid)) {
        Statement& add = session_.kept("INSERT INTO term (uid) VALUES ($1) ON CONFLICT DO NOTHING");
        add.change(Statement::kAnyRows, uid);
        (void)find.run(uid);
    }
    const std::int64_t number = find.integer(0);
    find.reset();
    return numbers_[uid] = number;
}

const std::string& Terms::uid(std::int64_t number) {
    const auto known = uids_.find(number);
    if (known != uids_.end()) return known->second;
    Statement& find = session_.kept("SELECT uid FROM term WHERE id = $1");
    std::string uid = find.run(number) ? std::string(find.text(0)) : "";
    find.reset();
    return uids_[number] = std::move(uid);
}

}  // namespace orvkit::index
