// WS-Security UsernameToken with PasswordDigest, SHA-1 and Base64 from OpenSSL, and the users of the services.
#include "security.h"

#include <openssl/crypto.h>
#include <openssl/evp.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <ctime>
#include <fstream>

#include "soap.h"

namespace sensorhost::onvif {

namespace {

[[noreturn]] void refuse(const std::string& why)
{
    fail(FaultCode::Sender, "ter:NotAuthorized", "", "Sender not authorized: " + why);
}

bool endsWith(const std::string& text, const std::string& suffix)
{
    return text.size() >= suffix.size() && text.compare(text.size() - suffix.size(), suffix.size(), suffix) == 0;
}

}  // namespace

std::string passwordDigest(const std::string& nonce, const std::string& created, const std::string& password)
{
    const std::string input = nonce + created + password;
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    if (EVP_Digest(input.data(), input.size(), digest, &length, EVP_sha1(), nullptr) != 1) return "";
    return encodeBase64(std::string(reinterpret_cast<const char*>(digest), length));
}

std::string encodeBase64(const std::string& bytes)
{
    std::string out(4 * ((bytes.size() + 2) / 3) + 1, '\0');
    const int length =
        EVP_EncodeBlock(reinterpret_cast<unsigned char*>(out.data()),
                        reinterpret_cast<const unsigned char*>(bytes.data()), static_cast<int>(bytes.size()));
    out.resize(static_cast<std::size_t>(length));
    return out;
}

bool decodeBase64(const std::string& text, std::string& bytes)
{
    if (text.empty() || text.size() % 4 != 0 || text.size() > 4096) return false;
    std::string out(text.size() / 4 * 3, '\0');
    const int length =
        EVP_DecodeBlock(reinterpret_cast<unsigned char*>(out.data()),
                        reinterpret_cast<const unsigned char*>(text.data()), static_cast<int>(text.size()));
    if (length < 0) return false;
    // The block decoder counts the padding as bytes.
    const std::size_t padding = endsWith(text, "==") ? 2 : endsWith(text, "=") ? 1 : 0;
    out.resize(static_cast<std::size_t>(length) - padding);
    bytes = out;
    return true;
}

bool parseDateTime(const std::string& text, std::int64_t& milliseconds)
{
    std::tm fields{};
    int used = 0;
    if (std::sscanf(text.c_str(), "%4d-%2d-%2dT%2d:%2d:%2d%n", &fields.tm_year, &fields.tm_mon, &fields.tm_mday,
                    &fields.tm_hour, &fields.tm_min, &fields.tm_sec, &used) != 6 ||
        used != 19 || fields.tm_mon < 1 || fields.tm_mon > 12 || fields.tm_mday < 1 || fields.tm_mday > 31 ||
        fields.tm_hour > 23 || fields.tm_min > 59 || fields.tm_sec > 60 || fields.tm_year < 1970) {
        return false;
    }
    std::size_t at = 19;
    int fraction = 0;
    if (at < text.size() && text[at] == '.') {
        int digits = 0;
        for (++at; at < text.size() && std::isdigit(static_cast<unsigned char>(text[at])); ++at, ++digits) {
            if (digits < 3) fraction = fraction * 10 + (text[at] - '0');
        }
        if (digits == 0) return false;
        for (; digits < 3; ++digits) fraction *= 10;
    }
    int offset = 0;  // minutes east of UTC
    const std::string zone = text.substr(at);
    if (zone.size() == 6 && (zone[0] == '+' || zone[0] == '-')) {
        int hours = 0, minutes = 0;
        if (std::sscanf(zone.c_str() + 1, "%2d:%2d%n", &hours, &minutes, &used) != 2 || used != 5) return false;
        offset = (zone[0] == '+' ? 1 : -1) * (hours * 60 + minutes);
    } else if (!zone.empty() && zone != "Z") {
        return false;
    }
    fields.tm_year -= 1900;
    fields.tm_mon -= 1;
    const std::time_t seconds = ::timegm(&fields);
    milliseconds = (static_cast<std::int64_t>(seconds) - offset * 60) * 1000 + fraction;
    return true;
}

void Guard::check(const TiXmlElement* header, std::int64_t now)
{
    const TiXmlElement* security = header != nullptr ? child(*header, "Security") : nullptr;
    if (security == nullptr || namespaceOf(*security) != kSecurityNs)
        refuse("the request carries no WS-Security header");
    const TiXmlElement* token = child(*security, "UsernameToken");
    const TiXmlElement* password = token != nullptr ? child(*token, "Password") : nullptr;
    const TiXmlElement* nonceElement = token != nullptr ? child(*token, "Nonce") : nullptr;
    const std::string created = token != nullptr ? text(child(*token, "Created")) : "";
    if (password == nullptr || nonceElement == nullptr || created.empty()) {
        refuse("a UsernameToken with a password digest, a nonce and a created time is needed");
    }
    const char* type = password->Attribute("Type");
    if (type == nullptr || !endsWith(type, "#PasswordDigest")) refuse("only password digests are accepted");
    const char* encoding = nonceElement->Attribute("EncodingType");
    std::string nonce;
    if ((encoding != nullptr && !endsWith(encoding, "#Base64Binary")) || !decodeBase64(text(nonceElement), nonce)) {
        refuse("the nonce is not Base64");
    }
    const std::string name = text(child(*token, "Username"));
    bool known = false;
    for (const User& user : users_) {
        const std::string expected = passwordDigest(nonce, created, user.password);
        const std::string given = text(password);
        if (user.name == name && given.size() == expected.size() &&
            CRYPTO_memcmp(given.data(), expected.data(), given.size()) == 0) {
            known = true;
        }
    }
    if (!known) refuse("wrong user name or password");
    std::int64_t when = 0;
    if (!parseDateTime(created, when)) refuse("the created time '" + created + "' is no xs:dateTime");
    if (when < now - kWindow || when > now + kWindow) {
        refuse("the token was created " + std::to_string((when - now) / 1000) + " s from the camera's clock " +
               "(GetSystemDateAndTime), more than " + std::to_string(kWindow / 1000) + " s");
    }

    std::lock_guard<std::mutex> lock(mutex_);
    while (!byCreated_.empty() && byCreated_.begin()->first < now - kWindow) {
        nonces_.erase(byCreated_.begin()->second);
        byCreated_.erase(byCreated_.begin());
    }
    if (nonces_.count(nonce) != 0 || when <= forgotten_) refuse("the token was used before");
    nonces_.emplace(nonce, when);
    byCreated_.emplace(when, nonce);
    if (nonces_.size() > kNonces) {
        forgotten_ = std::max(forgotten_, byCreated_.begin()->first);
        nonces_.erase(byCreated_.begin()->second);
        byCreated_.erase(byCreated_.begin());
    }
}

bool parseUser(const std::string& text, User& user, std::string& error)
{
    const std::size_t colon = text.find(':');
    if (colon == 0 || colon == std::string::npos || colon + 1 == text.size()) {
        // Never echo the text: it may hold a password.
        error = "a user is given as NAME:PASSWORD, both not empty";
        return false;
    }
    user = User{text.substr(0, colon), text.substr(colon + 1)};
    return true;
}

bool readUsers(const std::string& path, std::vector<User>& users, std::string& error)
{
    std::ifstream in(path);
    if (!in) {
        error = "cannot read the users file " + path;
        return false;
    }
    std::string line;
    for (int number = 1; std::getline(in, line); ++number) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        if (line.empty() || line[0] == '#') continue;
        User user;
        if (!parseUser(line, user, error)) {
            error = path + " line " + std::to_string(number) + ": " + error;
            return false;
        }
        users.push_back(user);
    }
    return true;
}

}  // namespace sensorhost::onvif
