// The elements that --tag asks for.
#ifndef ORVKIT_SERVICES_TAG_NAMES_H
#define ORVKIT_SERVICES_TAG_NAMES_H

#include <string>
#include <string_view>
#include <vector>

#include "orvkit/sequence.h"
#include "services/values.h"

namespace services {

// The tags that a text names: "(0010,0010)", "0010,0010", "00100010", a name of the dictionary
// ("T_0010_0010_patientsName") or its last part, or a keyword ("PatientName"); in whatever case and with or
// without the possessive s. Empty for anything else.
std::vector<unsigned int> tagsNamed(const std::string& text);
// "patientsName" of "T_0010_0010_patientsName"; "" of a name without such a part.
std::string_view namePart(std::string_view name);
// "PatientName"; of a tag that has no keyword, the last part of its name, or "".
std::string keywordOf(unsigned int tag);

// "neither a tag nor a name of the dictionary", and the keyword that is nearest to it.
std::string noTagText(const std::string& text);
// The keyword ("PatientName") that somebody may have meant, or "".
std::string nearestKeyword(const std::string& text);

class Pick {
  public:
    // Tags with commas between: "PatientName,0010,0020". Gives the part that names none; "" when all do.
    std::string add(const std::string& list);

    bool everything() const { return tags_.empty(); }
    bool wants(unsigned int tag) const;

    // Calls visit(element, place, path) for each wanted element in tag order, at any depth; what is nested in
    // a wanted sequence belongs to it.
    template <typename Visit>
    void each(const Place& place, Visit visit) const {
        std::vector<unsigned int> path;
        walk(place, path, visit);
    }

  private:
    template <typename Visit>
    void walk(const Place& place, std::vector<unsigned int>& path, Visit& visit) const {
        for (DcElem* e = place.list.first(); e != nullptr; e = e->next()) {
            path.push_back(tagOf(*e));
            if (wants(path.back())) {
                visit(*e, place, path);
            } else if (DcElemSq* sq = sequenceOf(*e)) {
                unsigned int number = 0;
                for (DcElemSqItem* item = sq->first(); item != nullptr; item = item->next()) {
                    path.push_back(++number);
                    walk(Place(item->getElemList(), place), path, visit);
                    path.pop_back();
                }
            }
            path.pop_back();
        }
    }

    std::vector<unsigned int> tags_;
};

}  // namespace services

#endif
