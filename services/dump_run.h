// A dump of many files on several threads, in their order.
#ifndef ORVKIT_SERVICES_DUMP_RUN_H
#define ORVKIT_SERVICES_DUMP_RUN_H

#include <optional>
#include <string>
#include <vector>

#include "services/charset.h"
#include "services/print_forms.h"
#include "services/tag_names.h"

namespace services {

enum class DumpLook { tree, flat, json };

struct DumpRequest {
    std::vector<std::string> paths;  // a directory stands for the files below it, by name
    Pick pick;
    DumpLook look = DumpLook::tree;
    PrintLook print;
    std::optional<Charset> charset;  // of all text, whatever the files name
    unsigned int jobs = 1;           // threads
};

// Shows each file on standard output, followed by what is wrong with it on standard error. false when
// anything was, or when nobody takes the output.
[[nodiscard]] bool dumpFiles(const DumpRequest& request);

}  // namespace services

#endif
