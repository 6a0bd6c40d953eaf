#include "tools/commands.h"

namespace tools {

void addIsolate(Command& command, bool& isolate) {
    command.flag("--isolate", isolate,
                 "Run codec libraries in processes of their own, for images from strangers: what those do to "
                 "a library is a fault of the image, told like others");
}

}  // namespace tools
