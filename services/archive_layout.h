// Where the files of an archive lie: in folders and under names made of attributes.
#ifndef ORVKIT_SERVICES_ARCHIVE_LAYOUT_H
#define ORVKIT_SERVICES_ARCHIVE_LAYOUT_H

#include <string>
#include <string_view>
#include <vector>

#include "services/archive_files.h"

namespace services {

// Such as "{PatientID}/{StudyDate}/{SeriesNumber}/{InstanceNumber}": names with slashes between, the last of
// them the file's, and keywords or tags in braces. What comes out is a name on every system, whatever the
// values are: no separators or control characters, no hidden, reserved or overlong names, never nothing. No
// folder ends as files do.
class ArchiveLayout {
  public:
    // "", or what is wrong with the text, and it is not taken. Of nothing: two levels of folders by a hash.
    std::string parse(std::string_view text);
    // From the archive's directory. What it is not alone with is told apart by `number`, from 1.
    std::string pathFor(const ArchiveFile& object, const std::string& instance, int number) const;

  private:
    struct Piece {
        std::string text;
        unsigned int tag = 0;  // its value, in the place of the text
    };
    using Name = std::vector<Piece>;
    static std::string parseName(std::string_view text, Name& name);
    std::string stemOf(const ArchiveFile& object, const std::string& instance) const;

    std::vector<Name> names_;
};

}  // namespace services

#endif
