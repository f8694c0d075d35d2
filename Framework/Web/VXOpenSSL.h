#pragma once

#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/ssl.h>

/**
 * What is used of OpenSSL, from the library that libcurl uses too. It is loaded when it is first asked for: each program
 * that was linked with it would start a millisecond later. Any thread.
 */
class VXOpenSSL
{
public:
    static const VXOpenSSL &shared();

    /** False, logged, when there is no such library: the functions are null then. */
    bool isLoaded() const { return _isLoaded; }

    decltype(&::BIO_free) freeSource = nullptr;
    decltype(&::BIO_new_mem_buf) makeSource = nullptr;
    decltype(&::ERR_clear_error) clearErrors = nullptr;
    decltype(&::EVP_DigestSign) sign = nullptr;
    decltype(&::EVP_DigestSignInit) beginSigning = nullptr;
    decltype(&::EVP_DigestVerify) verify = nullptr;
    decltype(&::EVP_DigestVerifyInit) beginVerifying = nullptr;
    decltype(&::EVP_MD_CTX_free) freeContext = nullptr;
    decltype(&::EVP_MD_CTX_new) makeContext = nullptr;
    decltype(&::EVP_PKEY_free) freeKey = nullptr;
    decltype(&::EVP_PKEY_get_id) typeOfKey = nullptr;
    decltype(&::EVP_PKEY_get_raw_public_key) publicKey = nullptr;
    decltype(&::EVP_PKEY_new_raw_public_key) makePublicKey = nullptr;
    decltype(&::PEM_read_bio_PrivateKey) readPrivateKey = nullptr;
    decltype(&::SSL_CTX_set_msg_callback) setMessageCallback = nullptr;

private:
    VXOpenSSL();
    bool load();

    const bool _isLoaded;
};
