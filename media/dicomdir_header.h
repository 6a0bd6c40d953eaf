// The elements of a DICOMDIR around its records (PS3.3 F.3.2.1).
#ifndef ORVKIT_MEDIA_DICOMDIR_HEADER_H
#define ORVKIT_MEDIA_DICOMDIR_HEADER_H

namespace orvkit {

inline constexpr unsigned int kTagFilesetId = 0x00041130;
inline constexpr unsigned int kTagDescriptorFileId = 0x00041141;
inline constexpr unsigned int kTagDescriptorCharset = 0x00041142;
inline constexpr unsigned int kTagFirstRecord = 0x00041200;
inline constexpr unsigned int kTagLastRecord = 0x00041202;
inline constexpr unsigned int kTagConsistency = 0x00041212;
inline constexpr unsigned int kTagRecordSequence = 0x00041220;

}  // namespace orvkit

#endif
