// DcTul: the upper layer. It turns requests and received PDUs into events of the state machine, and puts the
// fragments of a command or a data set together (PS3.8 9, annex E).
#ifndef ORVKIT_TUL_H
#define ORVKIT_TUL_H

#include "orvkit/datatf.h"
#include "orvkit/export.h"
#include "orvkit/tsm.h"

// Receives the bytes of Pixel Data as they arrive; the result is ignored.
typedef int (*DcTulPixDataCB)(void* user, unsigned char* data, unsigned int length, DICT_UID xferSyn);
// Called once for a data set, when its Pixel Data is found, with the elements in front of it. `presCtxId`
// points at the message's presentation context ID. A result other than 0 ends the reception: it is logged,
// and DcMsm::read closes the association with MSM_CLOSED.
typedef int (*DcMsmPixRecvCB)(void* user, DcElemList& elements, DICT_UID xferSyn,
                              unsigned char* const presCtxId);
// Receives the encoded data set itself, fragment by fragment; `last` is not 0 with the last one. A result
// other than 0 ends the reception as above.
typedef int (*DcTulDataSetCB)(void* user, const unsigned char* data, unsigned int length, DICT_UID xferSyn,
                              int last);
// Gives room for the next piece of a data set, and its size in bytes, so that the application need not copy
// what it receives: the callback above then gets its bytes there. Null: they come in a buffer of the
// library's, 64 KiB at most, that is used again for the next ones. Bytes that came in one PDU with the
// command have a buffer of their own.
typedef unsigned char* (*DcTulRoomCB)(void* user, unsigned int* size);

class ORVKIT_API DcTul : public DcTsm {
  public:
    DcTul(TSM_ROLE role, int port);
    DcTul(const DcTul&) = default;
    DcTul& operator=(const DcTul&) = default;
    ~DcTul() override;

    int setArtimTimeout(int seconds);  // TUL_PROTOCOL below 1
    void setState(TSM_STATE state) { state_ = state; }
    int getDecodingFlag() const { return decodingFlag_; }
    int setDecodingFlag(int flag);

    // The most bytes of a message's data set, or of an association PDU, that are taken into memory; 0: no
    // bound (unless set). What goes to the data set callback, or from Pixel Data to a file or a handle, does
    // not count. A data set is refused by the fragment that would exceed the bound, before that is read:
    // TUL_PDU_REFUSED (LOG_ERROR), which DcMsm tells as MSM_CLOSED and closes the association; an association
    // PDU as one that cannot be read. Commands are bounded at 1 MiB in any case. Always 0.
    int setReceiveLimit(unsigned long long bytes);
    // Not 0: a data set that nobody asked for is refused by its first fragment, before that is read, with the
    // codes as above. Asked for is one behind a command that announces it (0000,0800), and that may have one
    // (PS3.7 9.3, 10.3: a C-ECHO-RSP or C-STORE-RSP may not). A data set that begins in the PDU of its
    // command is then received by a read of its own. 0 unless set. Always 0.
    int setDataSetCheck(int flag);

    // Not 0: an A-ASSOCIATE-RQ that cannot be read is answered before its connection is closed, with the
    // A-ASSOCIATE-RJ or A-ABORT that PS3.8 9.3.4 and 9.3.8 name: a protocol version that is not known (2 by
    // the provider), an empty title (7 or 3 by the user), an item that is unknown (abort 4), out of place (5)
    // or damaged (6). Of the protocol version only bit 0 counts then (PS3.8 9.3.2). The results stay. One
    // that does not arrive whole has no answer. 0 unless set. Always 0.
    int setBrokenRequestAnswer(int flag);

    // Not 0: association requests and answers may hold items that this library does not know, and their
    // negotiation is read (DcPduAssoAcRq::setTolerant): user identity, extended and common extended
    // negotiation. 0, by which such a PDU is one that cannot be read, unless set. Always 0.
    int setTolerant(int flag);

    // Where the pixel bytes of received data sets go, until changed: appended to the file, written to a
    // duplicate of the handle, or both. The data set's Pixel Data then refers to them there. A handle of -1
    // and a null name end it.
    int setPixelDataHandle(int handle);          // TUL_DUPLICATE
    int getPixelDataHandle(int& handle) const;   // the duplicate; -1 when none
    int setPixelDataFileName(const char* path);  // TUL_APPEND

    // Each takes null to end it. Always 0.
    int registerValueExceptionCB(void* user, DcElemValueExceptionCB callback);
    int registerPixDataCB(void* user, DcTulPixDataCB callback);
    int registerPixRecvCB(void* user, DcMsmPixRecvCB callback);
    // While set, the bytes of data sets go to the callback alone, and received data sets are empty: an object
    // of any size passes through without being held in memory. `room` may be null. What is registered within
    // a callback takes over with the next piece; null drops the rest of the data set.
    int registerDataSetCB(void* user, DcTulDataSetCB callback, DcTulRoomCB room = nullptr);

  protected:
    // TUL_NOT_SCU without the user role, TUL_NOT_SCP without the provider role, or the result of the step.
    int event00_connectScu(const char* host, int port);
    int event01_writeAssoRqPdu(DcPduAssoRq* pdu);
    int event04_connectScp();
    int event06_writeAssoAcPdu(DcPduAssoAc* pdu);
    int event07_writeAssoRjPdu(DcPduAssoRj* pdu);
    int event08_writeDataTfPdu(DcPduDataTf* pdu);
    int event10_writeRelRqPdu();
    int event13_writeRelRpPdu();
    int event14_writeAbortPdu();
    int event16_closeTrans();
    int event17_artimExpired();

    // The next PDU, which the caller deletes; P-DATA-TF PDUs are put together to a whole command or data set
    // and decoded. The arrays of PDU_PRES_CTX_MAX are the accepted contexts and their transfer syntaxes. 0
    // without a PDU: none arrived, or it was dealt with. TUL_NO_CONNECTION no connection, TUL_PDU_REFUSED
    // refused, ELEM_REFUSED, ELEM_NO_MEMORY, DATATF_NOT_READY, DATATF_SOCKET, and the outcomes
    // TSM_ABORT_INDICATION to TSM_RELEASE_INDICATION.
    int readNextPdu(DcPdu** pdu, unsigned char* presCtxIds, DICT_UID* xferSyns, PDU_BLOCK block);

    static void artimExpiredCB(unsigned int timer, unsigned int message, std::uintptr_t user,
                               std::uintptr_t reserved1, std::uintptr_t reserved2);
    // Whether a data set is to come, for the check of that.
    void expectDataSet(bool expected) { dataSetExpected_ = expected; }

  private:
    enum class Pixels : unsigned char;
    struct Part;  // the command or data set being put together
    class Sink;   // decides on values while they arrive

    int readPduDataTf(DcPduDataTf* message, DICT_UID xferSyn, PDU_BLOCK block);
    int processPduDataTf(Part& part, DcPduDataTf* latest);
    int checkProgress(Part& part, DcPduDataTf& latest) const;
    int takeFragment(Part& part, DcPduDataTf& latest);
    int toCallback(const unsigned char* data, unsigned int length, DICT_UID xferSyn, bool last);
    int findPixelData(Part& part);
    int tellFront(Part& part, unsigned char* front, unsigned int length);
    int beginPixels(Part& part, bool keepAll);
    int divert(Part& part, const unsigned char* data, unsigned int length);
    int finishPixels(Part& part);
    DcPdu* newPdu(PDU_TYPE type);
    int receivePdu(PDU_TYPE type, DcPdu* pdu, const unsigned char* presCtxIds, const DICT_UID* xferSyns);
    int completeMessage(DcPduDataTf& message, const unsigned char* presCtxIds, const DICT_UID* xferSyns,
                        PDU_BLOCK block);
    void carry(DcPduDataTf& pdu);
    DcPdu* takeCarried();
    void discardArrived();
    void answerBrokenRequest(const DcPduAssoRq& request);

    DcPduDataTf* carried_ = nullptr;  // owned: the data behind a command in its PDU
    Sink* sink_ = nullptr;            // owned
    int artimTimeout_ = 30;
    int decodingFlag_ = 0;
    int pixelHandle_ = -1;           // owned
    char* pixelFileName_ = nullptr;  // owned
    void* exceptionUser_ = nullptr;
    DcElemValueExceptionCB exceptionCB_ = nullptr;
    void* pixDataUser_ = nullptr;
    DcTulPixDataCB pixDataCB_ = nullptr;
    void* pixRecvUser_ = nullptr;
    DcMsmPixRecvCB pixRecvCB_ = nullptr;
    void* dataSetUser_ = nullptr;
    DcTulDataSetCB dataSetCB_ = nullptr;
    DcTulRoomCB roomCB_ = nullptr;
    bool answersBroken_ = false;
    bool dataSetCheck_ = false;
    bool dataSetExpected_ = false;
    bool callbackEnded_ = false;  // a callback of the application's ended the reception
};

#endif
