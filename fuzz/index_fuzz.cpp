// Keys and objects of an index: whatever they are, a request is made of them or refused, and matching ends.
// Attributes go to data sets and into each other without a loss; bytes that are no attributes are refused.
#include "fuzz/target.h"
#include "index/attributes.h"
#include "index/levels.h"
#include "index/request.h"
#include "index/trouble.h"
#include "orvkit/elemlist.h"
#include "orvkit/result.h"

namespace {

using fuzz::require;
using namespace orvkit::index;

constexpr Bounds kBounds{4096, 256, 16384};
constexpr unsigned int kHow[] = {0, INDEX_RELATIONAL | INDEX_FUZZY_NAMES,
                                 INDEX_RELATIONAL | INDEX_DATE_TIME | INDEX_TIMEZONE,
                                 INDEX_RELATIONAL | INDEX_ANY_CASE | INDEX_ANY_ACCENT | INDEX_EMPTY_VALUE};

void read(DcElemList& list, const unsigned char* data, std::size_t size, DICT_UID syntax) {
    (void)list.setValueExceptionLevel(0);
    std::vector<unsigned char> bytes(data, data + size);
    auto length = static_cast<unsigned int>(size);
    (void)list.parse(bytes.data(), length, syntax);
}

void match(DcElemList& keys, const Bytes& object, unsigned int how) {
    try {
        const Request request = makeRequest(INDEX_ROOT_STUDY, how, keys);
        for (const Key& key : request.keys) (void)matches(key, attributeOf(object, key.tag));
        for (const DateTimeKey& key : request.pairs) {
            (void)matches(key, valueOf(object, key.date), valueOf(object, key.time), 0);
        }
    } catch (const Trouble& trouble) {
        require(trouble.result == INDEX_KEYS);
    }
}

// As a damaged index would have them.
void readDamaged(std::string_view bytes) {
    try {
        DcElemList list;
        giveAttributes(bytes, "ISO_IR 192", list);
        Texts texts;
        lookAtTexts(bytes, "ISO_IR 100", texts);
        for (const Level level : {Level::patient, Level::study, Level::series}) (void)wordsOf(level, bytes);
    } catch (const Trouble& trouble) {
        require(trouble.result == INDEX_DAMAGED);
    }
}

}  // namespace

// The first byte picks the syntax and how keys match; the first half is the keys, all of it the object.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 2 || size > 20000) return 0;
    const std::vector<unsigned char> bytes = fuzz::content(data, size);
    const DICT_UID syntax = fuzz::syntaxes[data[0] % 3];
    DcElemList keys;
    DcElemList object;
    read(keys, bytes.data(), bytes.size() / 2, syntax);
    read(object, bytes.data(), bytes.size(), syntax);
    keys.add(new DcElem(0x00080052, "STUDY"));
    Bytes part;
    Bytes all;
    (void)takeAttributes(keys, kBounds, part);
    (void)takeAttributes(object, kBounds, all);
    require(overlay(part, difference(part, all)) == all);
    match(keys, all, kHow[data[0] / 4 % std::size(kHow)]);
    readDamaged({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
    return 0;
}
