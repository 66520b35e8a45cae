// Name resolution through the platform resolver.
#include <netdb.h>

#include <cstring>
#include <memory>

#include "logging/library_log.h"
#include "qorbasic/net.h"

// The resolver's warnings name "NetworkUtils" as their source file, the
// name clients filter on, rather than the path of this file.
#define NETWORK_UTILS_WARN(text, function) \
    QOR_LOG_SITE(QOR_LOGLEVEL_WARN, text, "NetworkUtils", function)

namespace {

struct AddrInfoDeleter {
    void operator()(addrinfo* list) const { freeaddrinfo(list); }
};
using AddrInfoList = std::unique_ptr<addrinfo, AddrInfoDeleter>;

// getaddrinfo without a service; `flags` goes into otherwise zero hints.
int resolve(const char* name, int flags, AddrInfoList& out) {
    addrinfo hints;
    std::memset(&hints, 0, sizeof(hints));
    hints.ai_flags = flags;
    addrinfo* list = nullptr;
    int rc = getaddrinfo(name, nullptr, &hints, &list);
    out.reset(rc == 0 ? list : nullptr);
    return rc;
}

}  // namespace

namespace NetworkUtils {

int StrToAddr(const std::string& text, sockaddr* out) {
    if (text.empty()) return 0;
    AddrInfoList list;
    int rc = resolve(text.c_str(), AI_NUMERICHOST, list);
    if (rc != 0) {
        NETWORK_UTILS_WARN("NetworkUtils::StrToAddr failed", "StrToAddr")
            .add("query", text)
            .add("rc", rc)
            .add("msg", gai_strerror(rc));
        return rc;
    }
    if (out != nullptr && list) std::memcpy(out, list->ai_addr, list->ai_addrlen);
    return 0;
}

std::string AddrToStr(sockaddr* address) {
    char text[INET6_ADDRSTRLEN] = {};
    network_utils_addr_to_str(address, text, sizeof(text));
    // getnameinfo may leave a partial text behind on overflow.
    text[sizeof(text) - 1] = '\0';
    return text;
}

// The callback is taken by value as the public declaration has it.
int LookupName(
    const std::string& name,
    std::function<void(const sockaddr*)> callback) {  // NOLINT(performance-unnecessary-value-param)
    if (name.empty()) return 0;
    AddrInfoList list;
    int rc = resolve(name.c_str(), 0, list);
    if (rc != 0) return rc;
    for (const addrinfo* entry = list.get(); entry != nullptr; entry = entry->ai_next) {
        if (callback) callback(entry->ai_addr);
    }
    return 0;
}

bool dns_resolve(std::vector<sockaddr_storage*>& out, QRSTR const& name) {
    out.clear();
    if (name.is_empty()) return false;
    std::string query(name.ptr(), static_cast<size_t>(name.length()));
    AddrInfoList list;
    if (resolve(query.c_str(), 0, list) != 0) {
        NETWORK_UTILS_WARN("dns resolution failed", "dns_resolve").add("query", query);
        return false;
    }
    for (const addrinfo* entry = list.get(); entry != nullptr; entry = entry->ai_next) {
        bool v4 = entry->ai_family == AF_INET && entry->ai_addrlen == sizeof(sockaddr_in);
        bool v6 = entry->ai_family == AF_INET6 && entry->ai_addrlen == sizeof(sockaddr_in6);
        if (!v4 && !v6) continue;
        // Family and address only: port, flow information and scope stay 0.
        std::unique_ptr<sockaddr_storage> address(new sockaddr_storage());
        IPAddress(entry->ai_addr).copy(reinterpret_cast<sockaddr*>(address.get()));
        // The slot exists before ownership moves into it, so a failing
        // push_back cannot leak the address.
        out.push_back(nullptr);
        out.back() = address.release();
    }
    return true;
}

}  // namespace NetworkUtils

int network_utils_str_to_addr(const char* text, sockaddr* out) {
    return NetworkUtils::StrToAddr(text == nullptr ? std::string() : std::string(text), out);
}

int network_utils_addr_to_str(sockaddr* address, char* text, unsigned int size) {
    if (address == nullptr) return EAI_FAMILY;
    socklen_t length = address->sa_family == AF_INET ? sizeof(sockaddr_in) : sizeof(sockaddr_in6);
    return getnameinfo(address, length, text, size, nullptr, 0, NI_NUMERICHOST);
}

int network_utils_lookup(const char* name, void* context,
                         void (*callback)(const sockaddr*, void*)) {
    if (name == nullptr) return 0;
    return NetworkUtils::LookupName(name, [context, callback](const sockaddr* address) {
        if (callback != nullptr) callback(address, context);
    });
}

bool network_utils_dns_resolve(sockaddr_storage* out, const char* name) {
    if (out == nullptr) return false;
    memzero(out, sizeof(sockaddr_storage));
    std::vector<sockaddr_storage*> found;
    bool copied = NetworkUtils::dns_resolve(found, name) && !found.empty();
    if (copied) std::memcpy(out, found.front(), sizeof(sockaddr_storage));
    for (sockaddr_storage* address : found) delete address;
    return copied;
}
