// Who the library says it is. The version is the project's, in CMakeLists.txt, and comes from there alone.
#ifndef ORVKIT_FOUNDATION_IDENTITY_H
#define ORVKIT_FOUNDATION_IDENTITY_H

#include "foundation/version.h"

// The root of the UIDs that the library makes and that are its own.
#define ORVKIT_UID_ROOT "1.3.6.1.4.1.70707"

namespace orvkit {

inline constexpr int versionMajor = ORVKIT_VERSION_MAJOR;
inline constexpr int versionMinor = ORVKIT_VERSION_MINOR;
inline constexpr int versionRelease = ORVKIT_VERSION_RELEASE;
static_assert(versionMajor < 10 && versionMinor < 10 && versionRelease >= 1 && versionRelease <= 26);

// The implementation class UID (PS3.7 D.3.3.2.1) and the version names: of files, and of associations, where
// releases count as letters.
inline constexpr char implClassUid[] = ORVKIT_UID_ROOT "." ORVKIT_VERSION;
inline constexpr char fileVersionName[] = "Vantorell orvKIT";
inline constexpr char associationVersionName[] = {'o',
                                                  'r',
                                                  'v',
                                                  'K',
                                                  'I',
                                                  'T',
                                                  '5',
                                                  ' ',
                                                  '0' + versionMajor,
                                                  '.',
                                                  '0' + versionMinor,
                                                  '.',
                                                  'a' + versionRelease - 1,
                                                  '\0'};

}  // namespace orvkit

#endif
