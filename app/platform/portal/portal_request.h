#pragma once

#include <QDBusConnection>
#include <QString>

namespace talvo::portal {

// The desktop portal's bus name, object and Request interface.
inline constexpr const char* kService = "org.freedesktop.portal.Desktop";
inline constexpr const char* kPath = "/org/freedesktop/portal/desktop";
inline constexpr const char* kRequest = "org.freedesktop.portal.Request";

// A handle token no other call of this process has used: the portal names
// its Request and Session objects after the caller and the token.
QString nextToken();

// The Request object on which the portal answers a call carrying `token`
// (":1.42" calling with "talvo3" → …/request/1_42/talvo3).
QString requestPath(const QDBusConnection& bus, const QString& token);

}  // namespace talvo::portal
