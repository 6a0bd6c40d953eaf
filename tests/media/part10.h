// Part 10 files that tests build byte by byte.
#ifndef ORVKIT_TESTS_MEDIA_PART10_H
#define ORVKIT_TESTS_MEDIA_PART10_H

#include <cstring>

#include "orvkit/dict.h"
#include "orvkit/file.h"
#include "support/stream.h"
#include "support/temp_dir.h"

inline std::string evenUid(std::string uid) {
    if (uid.size() % 2 != 0) uid += '\0';
    return uid;
}

inline std::string uidOf(DICT_UID uid) {
    return evenUid(Dict.findUid(uid)->uid);
}

// Group 0002 of a CT image, without a group length.
inline Stream metaGroup(const std::string& xferSyn) {
    Stream s;
    s.elem(0x00020001, "OB", std::string("\0\1", 2)).elem(0x00020002, "UI", uidOf(UID_CT_IMAGE_STORAGE));
    return s.elem(0x00020003, "UI", evenUid("1.2.3")).elem(0x00020010, "UI", evenUid(xferSyn));
}

// Preamble, "DICM", group 0002 and a data set.
inline Stream part10(const Stream& meta, const Stream& dataset = Stream()) {
    return Stream().raw(std::string(128, 'p')).raw("DICM").add(meta).add(dataset);
}
inline Stream part10(DICT_UID xferSyn, const Stream& dataset = Stream()) {
    return part10(metaGroup(Dict.findUid(xferSyn)->uid), dataset);
}

// Makes a file and gives its path.
inline std::string makeFile(const TempDir& temp, const std::string& name,
                            const std::vector<unsigned char>& bytes) {
    writeWhole(temp / name, std::string(bytes.begin(), bytes.end()));
    return temp / name;
}

// A record that can be written.
inline DcDirMetaInfo metaFor(DICT_UID xferSyn) {
    DcDirMetaInfo meta;
    meta.version = 1;
    meta.sopClassUid = UID_CT_IMAGE_STORAGE;
    std::strcpy(meta.sopInstanceUid, "1.2.3");
    meta.transferSyntax = xferSyn;
    return meta;
}

// The file size limit, back to its first state at the end of the scope.
class FileSizeLimit {
  public:
    explicit FileSizeLimit(int bytes) { dirSetMaxFileSize(bytes); }
    ~FileSizeLimit() { dirSetMaxFileSize(536870912); }
    FileSizeLimit(const FileSizeLimit&) = delete;
    FileSizeLimit& operator=(const FileSizeLimit&) = delete;
};

#endif
