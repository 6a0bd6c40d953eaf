// The module that links an engine's library.
#ifndef ORVKIT_INDEX_ENGINE_LIBRARY_H
#define ORVKIT_INDEX_ENGINE_LIBRARY_H

#include <string>

#include "index/trouble.h"
#include "orvkit/result.h"
#include "platform/module.h"

namespace orvkit::index {

class EngineLibrary {
  public:
    EngineLibrary(const char* module, const char* symbol)
        : symbol_(platform::moduleSymbol(module, symbol, trouble_)) {}

    // What gives the table of the functions that are called. Trouble, INDEX_ENGINE: it cannot be loaded.
    template <typename Table>
    Table get(const char* engine) const {
        if (symbol_ == nullptr) fail(INDEX_ENGINE, std::string(engine) + " cannot be loaded: " + trouble_);
        return reinterpret_cast<Table>(symbol_);
    }

  private:
    std::string trouble_;  // before what fills it
    void* symbol_;
};

}  // namespace orvkit::index

#endif
