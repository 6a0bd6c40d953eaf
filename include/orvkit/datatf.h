// DcPduDataTf: the P-DATA-TF PDU (PS3.8 9.3.5), and the message that travels in a run of them.
#ifndef ORVKIT_DATATF_H
#define ORVKIT_DATATF_H

#include <array>
#include <cstddef>

#include "orvkit/elemlist.h"
#include "orvkit/export.h"
#include "orvkit/pdu.h"
#include "orvkit/tags.h"

namespace orvkit {
class DataSink;
struct FramedHeader;
}  // namespace orvkit

struct DcPduInfoTf {
    unsigned char presCtxId = 0;
    unsigned char msgCtrl = 0;  // bit 0 command (else data set), bit 1 last fragment (PS3.8 E.2)
    DICT_UID xferSyn = static_cast<DICT_UID>(0);  // of the data set
    unsigned int maxPduLen = 0;                   // what the peer accepts; not 0
};

// Sending: the list holds a whole message, command elements (group 0000) first; `write` frames it and sends
// it in fragments, each a PDU of its own, and may be called again. Values in files and behind handles are
// sent from there through one buffer; large pixel values in memory from where they are. The pseudo-element
// T_0006_0007_fileReference holds the path of a Part 10 file whose data set is sent, as it lies there, in the
// place of the list's. A syntax that compresses the data set as a whole is sent so where its codec is
// registered (deflate.h), and received likewise. Receiving: `read` collects the bytes of one PDU as memory
// buffers. Copies are member-wise: they share elements and buffers, and only one of the two may be destroyed.
class ORVKIT_API DcPduDataTf : public DcPdu, public DcElemList {
  public:
    DcPduDataTf();
    explicit DcPduDataTf(unsigned int sockConv);
    DcPduDataTf(const DcPduDataTf&) = default;
    DcPduDataTf& operator=(const DcPduDataTf&) = default;
    ~DcPduDataTf() override;

    // DATATF_READ empty, bad information, or a file that cannot be read; DATATF_SOCKET not sent in full;
    // ELEM_NO_MEMORY; DIR_STAT; or the code of elemListMerge, elemListVerify (nothing is sent then), of
    // framing or of reading meta information. The file position of a handle stays. The list is as it was, but
    // for (0000,0800), which `write` sets. After a failure the peer may have part of the message: nothing
    // more may be sent on the association.
    int write() override;

  protected:
    // What a command does before it is sent: complete its list, and check it.
    virtual int elemListMerge();
    virtual int elemListVerify();

  public:
    using DcPdu::setInfo;
    int setInfo(DcPduInfoTf& info);  // DATATF_READ
    int getInfo(DcPduInfoTf& info) const;
    // The rest of one PDU after its type. Every value also goes to `dumpFd` unless that is -1. Context and
    // control are those of the last value from then on. Behind the first 64 values of a PDU, small ones share
    // a buffer. DATATF_READ.
    int read(int dumpFd, PDU_BLOCK block);

    // What read collected, in order; null when empty.
    DcBuf* firstBuf() const;
    DcBuf* lastBuf() const;
    DcElem* firstElem() const { return DcElemList::first(); }
    DcElem* lastElem() const { return DcElemList::last(); }
    using DcElemList::operator+;
    DcPduDataTf& operator+(DcBuf* buffer);
    DcPduDataTf& operator+(DcElem* element);
    DcPduDataTf& operator-(DcBuf* buffer);
    DcPduDataTf& operator-(DcElem* element);

  private:
    friend struct orvkit::PduAccess;

    struct DiskPart;
    struct DataFile;
    struct Pieces;
    class Values;

    int readValues(Values& values, bool dumps, PDU_BLOCK block);
    int verifyInfo(const DcPduInfoTf& info) const;
    int writeParts();
    int writeCmd(DcElemList& command);
    int writePacked(DcElemList& dataset);
    int writeData(DcElemList& dataset);
    int writeDataMem(DcElemList& dataset, bool more, orvkit::FramedHeader& onDisk);
    int writePixels(const orvkit::FramedHeader& pixels, bool trailing);
    int writeDataDisk(const DiskPart& part, bool more);
    int openDataFile(DcElemList& dataset, DataFile& file);
    static std::size_t readPart(const DiskPart& part, unsigned long long offset, unsigned char* room,
                                std::size_t length);
    int writeFragment(const DiskPart& part, unsigned long long offset, unsigned int length,
                      unsigned char msgCtrl, unsigned char* room, int number);
    std::array<unsigned char, 12> pduHeader(unsigned char msgCtrl, unsigned int length) const;
    int writePieces(Pieces& pieces, bool more);
    int writeBuf(unsigned char msgCtrl, const void* data, unsigned int length);
    int writePdu(unsigned char msgCtrl, const Pieces& pieces);
    unsigned int fragmentSize() const;

    unsigned char presCtxId_ = 0;
    unsigned char msgCtrl_ = 0;
    DICT_UID xferSyn_ = static_cast<DICT_UID>(0);
    unsigned int maxPduLen_ = 0;
    orvkit::DataSink* sink_ = nullptr;     // decides on values while they arrive; not owned
    unsigned long long commandBytes_ = 0;  // received, of values that belong to a command
    unsigned long long sunkBytes_ = 0;     // handed to the sink
    DcBuf* commandEnd_ = nullptr;          // the last buffer of a command that data follow in the same PDU
    bool commandEnds_ = false;             // there is such a command
    bool sent_ = false;                    // the last write began to send
};

#endif
