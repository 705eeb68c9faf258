// WS-Security UsernameToken with PasswordDigest: who may call the services, and the nonces already used.
#ifndef SENSORHOST_ONVIF_SECURITY_H
#define SENSORHOST_ONVIF_SECURITY_H

#include <tinyxml.h>

#include <cstddef>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "onvif.h"

namespace sensorhost::onvif {

// Base64(SHA-1(nonce + created + password)), the token's password digest.
std::string passwordDigest(const std::string& nonce, const std::string& created, const std::string& password);
std::string encodeBase64(const std::string& bytes);
// False for text that is not whole Base64.
bool decodeBase64(const std::string& text, std::string& bytes);
// xs:dateTime ("2026-11-23T15:41:26.123Z") as milliseconds since the epoch;
// without a zone it is taken as UTC.
bool parseDateTime(const std::string& text, std::int64_t& milliseconds);

class Guard {
public:
    // A token created this far from the camera's clock, either way, is refused.
    static constexpr std::int64_t kWindow = 5 * 60 * 1000;
    // Nonces remembered at most; see check.
    static constexpr std::size_t kNonces = 1024;

    explicit Guard(std::vector<User> users) : users_(std::move(users)) {}
    bool enabled() const { return !users_.empty(); }
    // Throws ter:NotAuthorized unless `header` (env:Header, may be null)
    // carries a UsernameToken of a user, with a correct digest, created
    // within the window around `now` (ms since the epoch), with a nonce not
    // seen before. Nonces are remembered until they leave the window; when
    // more than kNonces are, the oldest is forgotten and every token created
    // no later than it is refused from then on, so a forgotten nonce can
    // never come back.
    void check(const TiXmlElement* header, std::int64_t now);

private:
    std::vector<User> users_;
    std::mutex mutex_;
    std::map<std::string, std::int64_t> nonces_;          // nonce bytes -> created
    std::multimap<std::int64_t, std::string> byCreated_;  // the same, oldest first
    std::int64_t forgotten_ = INT64_MIN;                  // created time of the newest nonce forgotten early
};

}  // namespace sensorhost::onvif

#endif
