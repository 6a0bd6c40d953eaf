// The forms of a dump: tree, flat and JSON.
#ifndef ORVKIT_SERVICES_PRINT_FORMS_H
#define ORVKIT_SERVICES_PRINT_FORMS_H

#include <memory>

#include "services/dump_file.h"
#include "services/output.h"
#include "services/tag_names.h"

namespace services {

class DumpForm {
  public:
    DumpForm() = default;
    DumpForm(const DumpForm&) = delete;
    DumpForm& operator=(const DumpForm&) = delete;
    virtual ~DumpForm() = default;

    virtual void begin() {}
    // Everything that was read of a file, or what `pick` asks for. `title` is null where one file stands
    // alone.
    virtual void file(DumpedFile& file, const Pick& pick, const char* title) = 0;
    virtual void end() {}
    // Other objects have shown files between begin() and now, or none has.
    virtual void resume(bool /*shown*/) {}
};

struct PrintLook {
    bool full = false;  // texts are cut to 80 characters, and lists of values to about as many, unless set
    bool keywords = false;  // "(0010,0010) PatientName" for "T_0010_0010_patientsName"
};
std::unique_ptr<DumpForm> makeTreeForm(Output& out, PrintLook look);
std::unique_ptr<DumpForm> makeFlatForm(Output& out, PrintLook look);
std::unique_ptr<DumpForm> makeJsonForm(Output& out);

}  // namespace services

#endif
