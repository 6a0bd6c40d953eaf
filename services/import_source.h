// A file of another kind, as an object will hold it.
#ifndef ORVKIT_SERVICES_IMPORT_SOURCE_H
#define ORVKIT_SERVICES_IMPORT_SOURCE_H

#include <cstdint>
#include <string>

#include "orvkit/elemlist.h"
#include "platform/file.h"
#include "platform/new_file.h"

namespace services {

// What an object is made of.
enum class ImportKind { pictures, document, model, video };

class ImportSource {
  public:
    // Looks at the file, and prepares the value that holds it. False: fault() says why.
    [[nodiscard]] bool open(const std::string& path);
    const std::string& fault() const { return fault_; }
    // What is to be known of the way it was taken; "" nothing.
    const std::string& note() const { return note_; }

    ImportKind kind() const { return kind_; }
    const std::string& sopClass() const { return sopClass_; }
    DICT_UID xferSyn() const { return xferSyn_; }
    // Adds the elements that the file decides: those of its pixels, or of the document, and its value. Once.
    void describe(DcElemList& dataset);

  private:
    bool fail(const std::string& why) {
        fault_ = why;
        return false;
    }
    bool openPictures(const std::string& bytes);
    bool openJpeg(const std::string& bytes);
    bool openDocument(const char* sopClass, const char* mime);
    bool openMp4();
    bool openMpeg2();
    bool openVideo(const char* syntax, unsigned int rows, unsigned int columns, unsigned int frames,
                   double rate);
    void chooseCapture();

    bool beginValue(bool encapsulated);
    bool append(const void* bytes, std::size_t length);
    bool appendFile();
    bool pad();

    orvkit::platform::FileHandle file_;
    std::int64_t size_ = 0;
    std::string fault_;
    std::string note_;
    ImportKind kind_ = ImportKind::pictures;
    std::string sopClass_;
    DICT_UID xferSyn_ = UID_LITTLE_ENDIAN_EXPLICIT;
    orvkit::platform::ScratchFile value_;
    std::uint64_t written_ = 0;
    DcElemList elements_;
};

}  // namespace services

#endif
