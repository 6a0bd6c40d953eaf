// What reading and writing of Part 10 files share.
#ifndef ORVKIT_MEDIA_META_INFO_H
#define ORVKIT_MEDIA_META_INFO_H

#include "dictionary/uid_text.h"
#include "orvkit/file.h"

namespace orvkit {

inline constexpr unsigned int kTagMetaLength = 0x00020000;
inline constexpr unsigned int kTagMetaVersion = 0x00020001;
inline constexpr unsigned int kTagMetaSopClass = 0x00020002;
inline constexpr unsigned int kTagMetaSopInstance = 0x00020003;
inline constexpr unsigned int kTagMetaTransferSyntax = 0x00020010;
inline constexpr unsigned int kTagMetaImplClass = 0x00020012;
inline constexpr unsigned int kTagMetaImplVersion = 0x00020013;
inline constexpr unsigned int kTagMetaSourceAe = 0x00020016;
inline constexpr unsigned int kTagMetaPrivateCreator = 0x00020100;
inline constexpr unsigned int kTagMetaPrivateInfo = 0x00020102;
inline constexpr unsigned int kTagSopClass = 0x00080016;
inline constexpr unsigned int kTagSopInstance = 0x00080018;

inline constexpr unsigned int kPreambleSize = 128;
inline constexpr unsigned int kMetaOffset = 132;  // preamble and "DICM"

// The size limit that dirSetMaxFileSize sets, and how messages show it.
int maxFileSize() noexcept;
double megabytes(int bytes) noexcept;

// dirWriteFile, but the file appears under its name when it is whole, and one that stood there stays until
// then.
int writeWholeFile(const char* path, DcDirMetaInfo& meta, DcElemList& dataset);

}  // namespace orvkit

#endif
