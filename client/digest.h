#ifndef DIGEST_H
#define DIGEST_H

#include <QString>
#include <memory>
#include <openssl/evp.h>

/** SHA-256 at the speed of the processor's own instructions. */
class Digest
{
public:
    Digest();

    /** Begins a new sum. */
    void Reset();

    void Add(const char *data, size_t length);

    /** The sum of all that was added, as lower-case hexadecimal; more may be added afterwards. */
    QString Text() const;

private:
    struct FreeContext
    {
        void operator()(EVP_MD_CTX *context) const { EVP_MD_CTX_free(context); }
    };
    using Context = std::unique_ptr<EVP_MD_CTX, FreeContext>;

    Context context;
};

#endif // DIGEST_H
