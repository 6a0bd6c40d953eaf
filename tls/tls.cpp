// DcTls: settings, and what connections are made with.
#include "orvkit/tls.h"

#include <algorithm>
#include <cctype>
#include <memory>
#include <mutex>
#include <new>
#include <string>

#include "orvkit/log.h"
#include "orvkit/result.h"
#include "tls/context.h"
#include "tls/layer.h"
#include "tls/profiles.h"

using namespace orvkit;

namespace {

// Makes connections with what was read last.
class Security final : public DcSecurity {
  public:
    std::unique_ptr<ConnectionLayer> layer(const End& end) override {
        return std::make_unique<tls::Layer>(current(), end);
    }
    void use(std::shared_ptr<tls::Context> context) {
        const std::lock_guard lock(mutex_);
        context_.swap(context);
    }

  private:
    std::shared_ptr<tls::Context> current() {
        const std::lock_guard lock(mutex_);
        return context_;
    }

    std::mutex mutex_;
    std::shared_ptr<tls::Context> context_;
};

// False when the text is no fingerprint.
bool parsePin(const char* text, tls::Fingerprint& pin) {
    std::string digits;
    for (; *text != '\0'; ++text) {
        if (*text == ':') continue;
        if (std::isxdigit(static_cast<unsigned char>(*text)) == 0) return false;
        digits += *text;
    }
    if (digits.size() != 2 * pin.size()) return false;
    for (std::size_t i = 0; i < pin.size(); ++i) {
        pin[i] = static_cast<unsigned char>(std::stoi(digits.substr(2 * i, 2), nullptr, 16));
    }
    return true;
}

}  // namespace

struct DcTls::Own {
    tls::Settings settings;
    Security security;
    tls::Words fault;

    [[gnu::format(printf, 3, 4)]] int failed(int result, const char* format, ...) {
        va_list values;
        va_start(values, format);
        fault.setList(format, values);
        va_end(values);
        return told(result);
    }
    int told(int result) {
        if (result != RESULT_OK) (void)logReport(LOG_ERROR, "DcTls", "%s", fault.text());
        return result;
    }
    // Runs what sets something.
    template <typename Work>
    int set(const void* argument, Work work) {
        fault = {};
        if (argument == nullptr) return failed(TLS_NULL_ARGUMENT, "Null argument passed");
        try {
            return work();
        } catch (const std::bad_alloc&) {
            return failed(ELEM_NO_MEMORY, "no memory for TLS");
        }
    }
};

DcTls::DcTls() : own_(new Own) {}
DcTls::~DcTls() {
    delete own_;
}

int DcTls::setProfile(TLS_PROFILE profile) {
    return own_->set(own_, [&]() -> int {
        if (tls::profileOf(profile) == nullptr)
            return own_->failed(TLS_SETTING, "no profile %d", int{profile});
        own_->settings.profile = profile;
        return RESULT_OK;
    });
}

int DcTls::setCertificate(const char* certificateFile, const char* keyFile) {
    return own_->set(certificateFile == nullptr ? nullptr : keyFile, [&]() -> int {
        own_->settings.certificateFile = certificateFile;
        own_->settings.keyFile = keyFile;
        return RESULT_OK;
    });
}

int DcTls::setPasswordCB(void* user, DcTlsPasswordCB callback) {
    own_->settings.passwordCB = callback;
    own_->settings.passwordUser = user;
    return RESULT_OK;
}

int DcTls::addAuthorities(const char* file) {
    return own_->set(file, [&]() -> int {
        own_->settings.authorities.emplace_back(file);
        return RESULT_OK;
    });
}

int DcTls::addRevocations(const char* file) {
    return own_->set(file, [&]() -> int {
        own_->settings.revocations.emplace_back(file);
        return RESULT_OK;
    });
}

int DcTls::addPin(const char* fingerprint) {
    return own_->set(fingerprint, [&]() -> int {
        tls::Fingerprint pin{};
        if (!parsePin(fingerprint, pin)) {
            return own_->failed(TLS_SETTING, "'%s' is no SHA-256 fingerprint: 64 hexadecimal digits",
                                fingerprint);
        }
        own_->settings.pins.push_back(pin);
        return RESULT_OK;
    });
}

int DcTls::setCheck(TLS_CHECK check) {
    return own_->set(own_, [&]() -> int {
        if (check < TLS_CHECK_REQUIRE || check > TLS_CHECK_NONE) {
            return own_->failed(TLS_SETTING, "no check %d", int{check});
        }
        own_->settings.check = check;
        return RESULT_OK;
    });
}

int DcTls::setPeerName(const char* name) {
    return own_->set(own_, [&]() -> int {
        own_->settings.peerName = name != nullptr ? name : "";
        return RESULT_OK;
    });
}

int DcTls::load() {
    return own_->set(own_, [&]() -> int {
        int result = RESULT_OK;
        std::shared_ptr<tls::Context> context = tls::Context::make(own_->settings, result, own_->fault);
        if (context != nullptr) own_->security.use(std::move(context));
        return own_->told(result);
    });
}

const char* DcTls::fault() const {
    return own_->fault.text();
}

DcSecurity* DcTls::security() {
    return &own_->security;
}
