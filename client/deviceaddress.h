#ifndef DEVICEADDRESS_H
#define DEVICEADDRESS_H

#include <QSslConfiguration>
#include <QSslError>
#include <QString>
#include <QUrl>
#include <string>

/**
 * Where a device is: HOST, HOST:PORT, or a URL of the schemes http and https. Without a port the
 * device's own one is meant, 8081, and with https that of a reverse proxy, 443.
 */
namespace DeviceAddress {

/** Throws a `ClientError` of status `Usage` for everything else. */
QUrl FromText(const QString &text);

} // namespace DeviceAddress

/** The files that a connection over TLS is made with, as the user named them; empty ones are none.
 */
struct TlsOptions
{
    std::string authorities; ///< PEM; in place of the system's
    std::string certificate; ///< PEM, with or without its key, or PKCS#12
    std::string key;         ///< PEM
    bool insecure = false;   ///< the device's certificate is not looked at

    /** True when one of the options was given. */
    bool Any() const;

    /**
     * Reads the files. Keys may be encrypted: the password is then in PARLOWEN_KEY_PASSWORD. Throws
     * a `ClientError` of status `LocalFailure` that names the file.
     */
    QSslConfiguration Configuration() const;

    /** Why a certificate of `host` is not trusted and what to do about it, in plain words. */
    static QString Explain(const QSslError &error, const QString &host);
};

#endif // DEVICEADDRESS_H
