// Walks a data set through all its sequences and prints one line for each element, indented by depth.
//     example_walk_sequences FILE
#include <cstdio>

#include "orvkit/dict.h"
#include "orvkit/elemlist.h"
#include "orvkit/file.h"
#include "orvkit/sequence.h"

static void walk(DcElemList& list, int depth) {
    for (DcElem* element = list.first(); element != nullptr; element = element->next()) {
        unsigned int tag = 0;
        element->getTag(tag);
        char name[61];
        Dict.getDesc(tag, name);
        std::printf("%*s%s %s, %d values\n", 2 * depth, "", DcDict::vrName(element->getVr()), name,
                    element->getValueCount());

        // A sequence is an element and a list of items; each item holds a data set.
        auto* sequence = dynamic_cast<DcElemSq*>(element);
        if (sequence == nullptr) continue;
        int number = 0;
        for (DcElemSqItem* item = sequence->first(); item != nullptr; item = item->next()) {
            std::printf("%*sitem %d\n", 2 * depth + 1, "", ++number);
            walk(item->getElemList(), depth + 1);
        }
    }
}

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s FILE\n", argv[0]);
        return 2;
    }
    DcDirMetaInfo meta;
    DcElemList dataset;
    const int result = dirReadFile(argv[1], meta, dataset);
    if (result != 0) std::fprintf(stderr, "%s: result %d, shown as far as it was read\n", argv[1], result);
    walk(dataset, 0);
    return result == 0 ? 0 : 1;
}
