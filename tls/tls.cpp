// DcTls: settings, and what connections are made with; the work is the engine's.
#include "orvkit/tls.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <initializer_list>
#include <memory>
#include <mutex>
#include <new>
#include <string>

#include "orvkit/log.h"
#include "orvkit/result.h"
#include "tls/engine.h"

using namespace orvkit;

namespace {

// Nothing crosses where no files were read: neither secured nor in clear.
class Unset final : public ConnectionLayer {
  public:
    platform::Received open(int) noexcept override { return platform::Received::failed; }
    platform::Received receive(void*, std::size_t, int, std::size_t& count) noexcept override {
        count = 0;
        return platform::Received::failed;
    }
    std::int64_t peek(void*, std::size_t) noexcept override { return -2; }
    std::int64_t send(const platform::Run*, std::size_t, int) noexcept override { return -1; }
    bool waitReadable(int) noexcept override { return true; }
    bool peerIsDone() noexcept override { return true; }
    void close() noexcept override {}
    void describe(DcSecurityInfo& info) const noexcept override {
        info = {};
        (void)std::snprintf(info.fault, sizeof info.fault, "TLS was not set up");
    }
};

// Makes connections with what was read last.
class Security final : public DcSecurity {
  public:
    std::unique_ptr<ConnectionLayer> layer(const End& end) override {
        const std::shared_ptr<tls::Ground> ground = current();
        if (ground != nullptr) return ground->layer(end);
        (void)logReport(LOG_ERROR, "DcTls", "TLS was not set up");
        return std::make_unique<Unset>();
    }
    void use(std::shared_ptr<tls::Ground> ground) {
        const std::lock_guard lock(mutex_);
        ground_.swap(ground);
    }

  private:
    std::shared_ptr<tls::Ground> current() {
        const std::lock_guard lock(mutex_);
        return ground_;
    }

    std::mutex mutex_;
    std::shared_ptr<tls::Ground> ground_;
};

int told(int result, const tls::Words& fault) {
    if (result != RESULT_OK) (void)logReport(LOG_ERROR, "DcTls", "%s", fault.text());
    return result;
}

// A call of the engine's, whose failure is told; `arguments` must not be null.
template <typename Call>
int byEngine(const char* name, std::initializer_list<const void*> arguments, Call call) {
    tls::Words fault;
    if (std::ranges::find(arguments, nullptr) != arguments.end()) {
        fault.set("%s: Null argument passed", name);
        return told(TLS_NULL_ARGUMENT, fault);
    }
    try {
        const tls::Engine* const engine = tls::engine(fault);
        return told(engine == nullptr ? TLS_FILE : call(*engine, fault), fault);
    } catch (const std::bad_alloc&) {
        fault.set("no memory for TLS");
        return told(ELEM_NO_MEMORY, fault);
    }
}

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
    tls::Words remark;

    [[gnu::format(printf, 3, 4)]] int failed(int result, const char* format, ...) {
        va_list values;
        va_start(values, format);
        fault.setList(format, values);
        va_end(values);
        return told(result, fault);
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
        if (profile < TLS_PROFILE_RFC8996 || profile > TLS_PROFILE_EXTENDED)
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
        int result = TLS_FILE;
        const tls::Engine* const engine = tls::engine(own_->fault);
        if (engine == nullptr) return told(result, own_->fault);
        std::shared_ptr<tls::Ground> ground = engine->load(own_->settings, result, own_->fault);
        if (ground != nullptr) {
            own_->remark.set("%s", ground->remark());
            if (!own_->remark.isEmpty())
                (void)logReport(LOG_NOTICE, "DcTls::load", "%s", own_->remark.text());
            own_->security.use(std::move(ground));
        }
        return told(result, own_->fault);
    });
}

const char* DcTls::remark() const {
    return own_->remark.text();
}

const char* DcTls::fault() const {
    return own_->fault.text();
}

DcSecurity* DcTls::security() {
    return &own_->security;
}

int tlsMakeAuthority(const char* name, int days, const char* certificateFile, const char* keyFile) {
    return byEngine("tlsMakeAuthority", {name, certificateFile, keyFile},
                    [&](const tls::Engine& engine, tls::Words& fault) {
                        return engine.makeAuthority(name, days, certificateFile, keyFile, fault);
                    });
}

int tlsMakePair(const char* authorityFile, const char* authorityKeyFile, const char* const* hosts,
                unsigned int count, int days, const char* certificateFile, const char* keyFile) {
    return byEngine("tlsMakePair", {authorityFile, authorityKeyFile, hosts, certificateFile, keyFile},
                    [&](const tls::Engine& engine, tls::Words& fault) {
                        return engine.makePair(authorityFile, authorityKeyFile, {hosts, count}, days,
                                               certificateFile, keyFile, fault);
                    });
}

int tlsDescribeKeys(const void* keys, unsigned int length, char* algorithms, unsigned int room) {
    return byEngine("tlsDescribeKeys", {keys, algorithms}, [&](const tls::Engine& engine, tls::Words& fault) {
        std::string names;
        const int result =
            engine.describeKeys({static_cast<const unsigned char*>(keys), length}, names, fault);
        (void)std::snprintf(algorithms, room, "%s", names.c_str());
        return result;
    });
}

int tlsCheckSignature(const char* algorithm, const void* keys, unsigned int keysLength, const void* text,
                      unsigned int textLength, const void* signature, unsigned int signatureLength) {
    const auto bytes = [](const void* data, unsigned int length) {
        return tls::Bytes{static_cast<const unsigned char*>(data), length};
    };
    return byEngine("tlsCheckSignature", {algorithm, keys, text, signature},
                    [&](const tls::Engine& engine, tls::Words& fault) {
                        return engine.checkSignature(algorithm, bytes(keys, keysLength),
                                                     bytes(text, textLength),
                                                     bytes(signature, signatureLength), fault);
                    });
}

int tlsHashPassword(const char* password, char* hash, unsigned int room) {
    return byEngine("tlsHashPassword", {password, hash}, [&](const tls::Engine& engine, tls::Words& fault) {
        std::string made;
        const int result = engine.hashPassword(password, made, fault);
        if (result == RESULT_OK && made.size() >= room) {
            fault.set("there is too little room for a hash");
            return int{TLS_SETTING};
        }
        (void)std::snprintf(hash, room, "%s", made.c_str());
        return result;
    });
}

int tlsCheckPassword(const char* password, unsigned int length, const char* hash) {
    return byEngine("tlsCheckPassword", {password, hash}, [&](const tls::Engine& engine, tls::Words& fault) {
        return engine.checkPassword({password, length}, hash, fault);
    });
}

int tlsCheckPasswordHash(const char* hash) {
    return byEngine("tlsCheckPasswordHash", {hash}, [&](const tls::Engine& engine, tls::Words& fault) {
        return engine.checkPasswordHash(hash, fault);
    });
}
