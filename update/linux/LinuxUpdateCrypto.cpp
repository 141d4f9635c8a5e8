// Signatures and digests through OpenSSL's libcrypto.
#include <openssl/bn.h>
#include <openssl/core_names.h>
#include <openssl/evp.h>
#include <openssl/param_build.h>

#include <cstring>
#include <mutex>

#include "update/Update.h"
#include "update/UpdateBuild.h"

struct UpdateKey {
    EVP_PKEY* pkey = nullptr;
    ~UpdateKey() { EVP_PKEY_free(pkey); }
};

std::shared_ptr<UpdateKey> ImportP256PublicBlob(const unsigned char* bytes, size_t length) {
    if (!bytes || length != 72 || std::memcmp(bytes, "ECS1", 4) != 0) return nullptr;
    unsigned char point[65];
    point[0] = 0x04;  // uncompressed
    std::memcpy(point + 1, bytes + 8, 64);
    OSSL_PARAM_BLD* bld = OSSL_PARAM_BLD_new();
    if (!bld) return nullptr;
    OSSL_PARAM_BLD_push_utf8_string(bld, OSSL_PKEY_PARAM_GROUP_NAME, "prime256v1", 0);
    OSSL_PARAM_BLD_push_octet_string(bld, OSSL_PKEY_PARAM_PUB_KEY, point, sizeof point);
    OSSL_PARAM* params = OSSL_PARAM_BLD_to_param(bld);
    OSSL_PARAM_BLD_free(bld);
    if (!params) return nullptr;
    auto key = std::make_shared<UpdateKey>();
    EVP_PKEY_CTX* ctx = EVP_PKEY_CTX_new_from_name(nullptr, "EC", nullptr);
    // fromdata checks that the point lies on the curve.
    if (!ctx || EVP_PKEY_fromdata_init(ctx) <= 0 ||
        EVP_PKEY_fromdata(ctx, &key->pkey, EVP_PKEY_PUBLIC_KEY, params) <= 0)
        key.reset();
    EVP_PKEY_CTX_free(ctx);
    OSSL_PARAM_free(params);
    if (key) {
        EVP_PKEY_CTX* check = EVP_PKEY_CTX_new(key->pkey, nullptr);
        if (!check || EVP_PKEY_public_check(check) != 1) key.reset();
        EVP_PKEY_CTX_free(check);
    }
    return key;
}

bool VerifyP256(const UpdateKey* key, const std::string& payload, const std::string& signatureHex) {
    const std::vector<unsigned char> raw = UpdateCore::HexDecode(signatureHex);
    if (!key || !key->pkey || raw.size() != 64) return false;
    const std::vector<unsigned char> der = UpdateCore::RawSignatureToDer(raw.data());
    EVP_MD_CTX* ctx = EVP_MD_CTX_new();
    if (!ctx) return false;
    const bool ok = EVP_DigestVerifyInit(ctx, nullptr, EVP_sha256(), nullptr, key->pkey) == 1 &&
                    EVP_DigestVerify(ctx, der.data(), der.size(),
                                     reinterpret_cast<const unsigned char*>(payload.data()), payload.size()) == 1;
    EVP_MD_CTX_free(ctx);
    return ok;
}

bool VerifyWithTrustedKeys(const std::string& payload, const std::string& signatureHex) {
    // Made on first use, once per process.
    static std::once_flag once;
    static std::shared_ptr<UpdateKey> release, test;
    std::call_once(once, [] {
        release = ImportP256PublicBlob(kReleasePublicKeyBlob, 72);
        if (UpdateIsTestBuild()) test = ImportP256PublicBlob(kTestPublicKeyBlob, 72);
    });
    if (release && VerifyP256(release.get(), payload, signatureHex)) return true;
    return test && VerifyP256(test.get(), payload, signatureHex);
}

std::string Sha256FileHexLower(const std::string& path) {
    std::FILE* f = std::fopen(path.c_str(), "rbe");
    if (!f) return "";
    EVP_MD_CTX* ctx = EVP_MD_CTX_new();
    bool ok = ctx && EVP_DigestInit_ex(ctx, EVP_sha256(), nullptr) == 1;
    static thread_local unsigned char block[65536];
    while (ok) {
        const size_t n = std::fread(block, 1, sizeof block, f);
        if (n > 0) ok = EVP_DigestUpdate(ctx, block, n) == 1;
        if (n < sizeof block) {
            ok = ok && !std::ferror(f);
            break;
        }
    }
    unsigned char digest[32];
    unsigned int length = 0;
    ok = ok && EVP_DigestFinal_ex(ctx, digest, &length) == 1 && length == 32;
    EVP_MD_CTX_free(ctx);
    std::fclose(f);
    return ok ? UpdateCore::HexEncodeLower(digest, 32) : "";
}
