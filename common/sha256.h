#ifndef SHA256_H
#define SHA256_H

#include <QString>
#include <cstddef>
#include <functional>
#include <memory>
#include <openssl/evp.h>

class FileDescriptor;

/**
 * SHA-256 of what is added piece by piece, at the speed of the processor's own instructions.
 *
 * Throws `std::bad_alloc` where the memory for it is missing. Not synchronised: one thread at a
 * time.
 */
class Sha256
{
public:
    Sha256();

    /** Begins a new sum. */
    void Reset();

    void Add(const char *data, std::size_t length);

    /** The sum of all that was added, as lower-case hexadecimal; more may be added afterwards. */
    QString Text() const;

    /**
     * The sum of an open file from its start to its end, read in pieces, so that memory does not
     * grow with its size. A null string when it cannot be read, with `errno` set, also once
     * `goesOn`, asked before each piece, is false.
     */
    static QString OfFile(
        const FileDescriptor &file, const std::function<bool()> &goesOn = [] { return true; });

private:
    struct FreeContext
    {
        void operator()(EVP_MD_CTX *freed) const { EVP_MD_CTX_free(freed); }
    };
    using Context = std::unique_ptr<EVP_MD_CTX, FreeContext>;

    Context context;
};

#endif
