// Images drawn in the terminal.
#ifndef ORVKIT_SERVICES_RENDER_TERMINAL_H
#define ORVKIT_SERVICES_RENDER_TERMINAL_H

#include "services/render_run.h"

namespace services {

// Draws what the request asks for on standard output, by sixels when these are forced or the terminal says
// that it has them. The request's size counts; without one, what the terminal has room for. Faults go to
// standard error; false when there was any.
[[nodiscard]] bool renderInTerminal(const RenderRequest& request, bool forceSixels);

}  // namespace services

#endif
