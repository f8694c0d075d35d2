#include "VXOpenSSL.h"

#include "VXLog.h"

#include <dlfcn.h>

using namespace Qt::StringLiterals;

const VXOpenSSL &VXOpenSSL::shared()
{
    static const VXOpenSSL library;
    return library;
}

VXOpenSSL::VXOpenSSL() : _isLoaded(load())
{
    if (!_isLoaded)
        VXLog::log(VXLogError,
                   "Nothing can be signed or verified without OpenSSL: "_L1 + QString::fromLocal8Bit(::dlerror()));
}

bool VXOpenSSL::load()
{
    void *const library = ::dlopen("libssl.so.3", RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE); // finds libcrypto's too
    if (library == nullptr)
        return false;
    const auto find = [library](const char *name, auto &function) {
        function = reinterpret_cast<std::remove_reference_t<decltype(function)>>(::dlsym(library, name));
        return function != nullptr;
    };
    return find("BIO_free", freeSource) && find("BIO_new_mem_buf", makeSource) &&
           find("ERR_clear_error", clearErrors) && find("EVP_DigestSign", sign) &&
           find("EVP_DigestSignInit", beginSigning) && find("EVP_DigestVerify", verify) &&
           find("EVP_DigestVerifyInit", beginVerifying) && find("EVP_MD_CTX_free", freeContext) &&
           find("EVP_MD_CTX_new", makeContext) && find("EVP_PKEY_free", freeKey) &&
           find("EVP_PKEY_get_id", typeOfKey) && find("EVP_PKEY_get_raw_public_key", publicKey) &&
           find("EVP_PKEY_new_raw_public_key", makePublicKey) && find("PEM_read_bio_PrivateKey", readPrivateKey) &&
           find("SSL_CTX_set_msg_callback", setMessageCallback);
}
