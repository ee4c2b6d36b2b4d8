#include "deviceaddress.h"

#include <QFile>
#include <QSslCertificate>
#include <QSslKey>

#include "clienterror.h"

namespace {

constexpr char passwordVariable[] = "PARLOWEN_KEY_PASSWORD";

ClientError FileProblem(const std::string &name, const QString &problem)
{
    return {ExitStatus::LocalFailure, QString("%1: %2").arg(QString::fromStdString(name), problem)};
}

QByteArray ContentOf(const std::string &name)
{
    QFile file(QString::fromStdString(name));
    if (!file.open(QIODevice::ReadOnly)) {
        throw FileProblem(name, "cannot be read: " + file.errorString());
    }
    return file.readAll();
}

QList<QSslCertificate> CertificatesIn(const std::string &name, const QByteArray &content)
{
    QList<QSslCertificate> certificates = QSslCertificate::fromData(content, QSsl::Pem);
    if (certificates.isEmpty()) {
        throw FileProblem(name, QStringLiteral("holds no certificate in PEM or PKCS#12 form"));
    }
    return certificates;
}

// PEM does not say of which kind a key is before it is read.
QSslKey KeyIn(const std::string &name, const QByteArray &content)
{
    for (const QSsl::KeyAlgorithm algorithm : {QSsl::Ec, QSsl::Rsa, QSsl::Dsa}) {
        QSslKey key(content, algorithm, QSsl::Pem, QSsl::PrivateKey, qgetenv(passwordVariable));
        if (!key.isNull()) {
            return key;
        }
    }
    throw FileProblem(name, QString("holds no private key that can be read; the password of an "
                                    "encrypted one is taken from %1")
                                .arg(passwordVariable));
}

bool TakePkcs12(QFile &file, QSslConfiguration &configuration)
{
    QSslKey key;
    QSslCertificate certificate;
    QList<QSslCertificate> chain;
    if (!file.open(QIODevice::ReadOnly) ||
        !QSslCertificate::importPkcs12(&file, &key, &certificate, &chain,
                                       qgetenv(passwordVariable))) {
        return false;
    }
    configuration.setLocalCertificateChain(QList<QSslCertificate>{certificate} + chain);
    configuration.setPrivateKey(key);
    return true;
}

void TakeOwnCertificate(const TlsOptions &options, QSslConfiguration &configuration)
{
    const QByteArray content = ContentOf(options.certificate);
    if (!content.contains("-----BEGIN")) {
        QFile file(QString::fromStdString(options.certificate));
        if (!TakePkcs12(file, configuration)) {
            throw FileProblem(options.certificate,
                              QString("holds no certificate in PEM or PKCS#12 form, or the "
                                      "password in %1 is not its own")
                                  .arg(passwordVariable));
        }
        return;
    }
    configuration.setLocalCertificateChain(CertificatesIn(options.certificate, content));
    const std::string &keyFile = options.key.empty() ? options.certificate : options.key;
    configuration.setPrivateKey(KeyIn(keyFile, ContentOf(keyFile)));
}

} // namespace

QUrl DeviceAddress::FromText(const QString &text)
{
    constexpr int devicePort = 8081;
    constexpr int proxyPort = 443;
    const QUrl url(text.contains("://") ? text : "http://" + text, QUrl::StrictMode);
    const bool known = url.scheme() == "http" || url.scheme() == "https";
    if (!url.isValid() || !known || url.host().isEmpty() || !url.userInfo().isEmpty() ||
        url.path().size() > 1 || url.hasQuery() || url.hasFragment()) {
        throw ClientError(ExitStatus::Usage, QString("--host: \"%1\" is not HOST, HOST:PORT or "
                                                     "http(s)://HOST[:PORT]")
                                                 .arg(text));
    }
    QUrl device;
    device.setScheme(url.scheme());
    device.setHost(url.host());
    device.setPort(url.port(url.scheme() == "https" ? proxyPort : devicePort));
    return device;
}

bool TlsOptions::Any() const
{
    return insecure || !authorities.empty() || !certificate.empty() || !key.empty();
}

QSslConfiguration TlsOptions::Configuration() const
{
    QSslConfiguration configuration = QSslConfiguration::defaultConfiguration();
    if (!key.empty() && certificate.empty()) {
        throw ClientError(ExitStatus::Usage,
                          QStringLiteral("--key: give the certificate of this key with --cert"));
    }
    if (!authorities.empty()) {
        configuration.setCaCertificates(CertificatesIn(authorities, ContentOf(authorities)));
    }
    if (!certificate.empty()) {
        TakeOwnCertificate(*this, configuration);
    }
    configuration.setPeerVerifyMode(insecure ? QSslSocket::VerifyNone : QSslSocket::VerifyPeer);
    return configuration;
}

QString TlsOptions::Explain(const QSslError &error, const QString &host)
{
    switch (error.error()) {
    case QSslError::SelfSignedCertificate:
    case QSslError::SelfSignedCertificateInChain:
    case QSslError::UnableToGetIssuerCertificate:
    case QSslError::UnableToGetLocalIssuerCertificate:
    case QSslError::UnableToVerifyFirstCertificate:
    case QSslError::CertificateUntrusted:
        return QStringLiteral("its authority is not known here; name the file of the authority "
                              "with --cacert");
    case QSslError::HostNameMismatch:
        return QString("it is not made out to %1").arg(host);
    case QSslError::CertificateExpired:
        return QStringLiteral("it has expired");
    case QSslError::CertificateNotYetValid:
        return QStringLiteral("it is not valid yet; is the clock of this computer right?");
    case QSslError::CertificateRevoked:
        return QStringLiteral("it was revoked");
    default:
        return QString("it is not valid (error %1)").arg(static_cast<int>(error.error()));
    }
}
