#include "index/answer.h"

#include "orvkit/tags.h"

namespace orvkit::index {
namespace {

constexpr std::string_view kUtf8 = "ISO_IR 192";

}  // namespace

void addAnswer(Bytes& bytes, const Key& key, const std::optional<Attribute>& attribute) {
    if (!attribute.has_value()) return append(bytes, key.tag, key.vr, {});
    if (key.vr != VR_SQ || attribute->vr != VR_SQ || key.item.empty())
        return append(bytes, key.tag, attribute->vr, attribute->value);
    Bytes items;
    ItemReader reader(attribute->value);
    for (std::string_view item; reader.next(item);) appendItem(items, projected(key.item, item));
    append(bytes, key.tag, VR_SQ, items);
}

Bytes projected(const std::vector<Key>& keys, std::string_view attributes) {
    Bytes bytes;
    for (const Key& key : keys) addAnswer(bytes, key, attributeOf(attributes, key.tag));
    return bytes;
}

void giveAnswer(std::string_view bytes, std::string_view charset, DcElemList& dataset) {
    Texts texts;
    lookAtTexts(bytes, charset, texts);
    const std::string chosen(texts.ascii ? "" : texts.fit ? charset : kUtf8);
    giveAttributes(bytes, chosen, dataset);
    if (!chosen.empty()) dataset.add(new DcElem(T_0008_0005_specificCharacterSet, chosen.c_str()));
}

}  // namespace orvkit::index
