// PDUs as bytes, built field by field.
#ifndef ORVKIT_TESTS_SUPPORT_PDU_BYTES_H
#define ORVKIT_TESTS_SUPPORT_PDU_BYTES_H

#include <algorithm>
#include <string>
#include <vector>

using Bytes = std::vector<unsigned char>;

inline void append(Bytes& to, const Bytes& more) {
    to.insert(to.end(), more.begin(), more.end());
}

inline void putBig(Bytes& to, std::uint64_t v, int size) {
    while (size-- > 0) to.push_back(static_cast<unsigned char>(v >> (8 * size)));
}

inline Bytes bytesOf(const std::string& text) {
    return {text.begin(), text.end()};
}

// Type, length in so many bytes, content.
inline Bytes part(int type, const Bytes& content, int lengthSize) {
    Bytes all{static_cast<unsigned char>(type), 0};
    putBig(all, content.size(), lengthSize);
    append(all, content);
    return all;
}
inline Bytes pdu(int type, const Bytes& body) {
    return part(type, body, 4);
}
inline Bytes item(int type, const Bytes& content) {
    return part(type, content, 2);
}
inline Bytes item(int type, const std::string& text) {
    return item(type, bytesOf(text));
}

inline Bytes joined(std::initializer_list<Bytes> parts) {
    Bytes all;
    for (const Bytes& part : parts) append(all, part);
    return all;
}

// A presentation data value with its item header.
inline Bytes pdv(int context, int control, const Bytes& data) {
    Bytes all;
    putBig(all, data.size() + 2, 4);
    all.push_back(static_cast<unsigned char>(context));
    all.push_back(static_cast<unsigned char>(control));
    append(all, data);
    return all;
}

// A data set in fragments of so many bytes, each in a PDU of its own.
inline Bytes inPieces(const Bytes& data, std::size_t most = 16000, int context = 1) {
    Bytes all;
    std::size_t at = 0;
    do {
        const std::size_t end = std::min(at + most, data.size());
        append(all, pdu(4, pdv(context, end == data.size() ? 2 : 0, {data.data() + at, data.data() + end})));
        at = end;
    } while (at < data.size());
    return all;
}

inline const std::string kAppCtxUid = "1.2.840.10008.3.1.1.1";
inline const std::string kVerificationUid = "1.2.840.10008.1.1";
inline const std::string kImplicitUid = "1.2.840.10008.1.2";
inline const std::string kExplicitUid = "1.2.840.10008.1.2.1";

// The association PDUs of a verification, in parts that a case may replace.
struct Association {
    int type = 1, version = 1;
    std::string called = "STORE           ", calling = "ME              ";
    Bytes appCtx = item(0x10, kAppCtxUid);
    Bytes context = item(0x20, joined({{1, 0, 0, 0},
                                       item(0x30, kVerificationUid),
                                       item(0x40, kImplicitUid),
                                       item(0x40, kExplicitUid)}));
    Bytes userInfo =
        joined({item(0x51, Bytes{0, 0, 0x40, 0}), item(0x52, "1.2.3"),
                item(0x54, joined({{0, 17}, bytesOf(kVerificationUid), {1, 0}})), item(0x55, "V1")});

    Bytes body() const {
        Bytes all;
        putBig(all, static_cast<unsigned int>(version), 2);
        putBig(all, 0, 2);
        append(all, bytesOf(called + calling));
        all.resize(all.size() + 32);
        return joined({all, appCtx, context, item(0x50, userInfo)});
    }
    Bytes bytes() const { return pdu(type, body()); }
};

// The answer to it, which accepts one syntax.
inline Association acceptance(const std::string& xferSyn = kImplicitUid) {
    Association answer;
    answer.type = 2;
    answer.context = item(0x21, joined({{1, 0, 0, 0}, item(0x40, xferSyn)}));
    return answer;
}

#endif
