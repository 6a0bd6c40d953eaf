#include "platform/secret.h"

#include <windows.h>
// windows.h first
#include <fcntl.h>
#include <io.h>
#include <share.h>
#include <sys/stat.h>

#include "platform/win32/path.h"

namespace orvkit::platform {

FileHandle createNew(const char* path, bool) noexcept {
    const WidePath wide(path);
    int handle = -1;
    if (!wide.ok() ||
        ::_wsopen_s(&handle, wide.get(), _O_WRONLY | _O_CREAT | _O_EXCL | _O_BINARY | _O_NOINHERIT,
                    _SH_DENYNO, _S_IREAD | _S_IWRITE) != 0) {
        return {};
    }
    return FileHandle(handle);
}

bool isExposed(const char*) noexcept {
    return false;
}

}  // namespace orvkit::platform
