// The self test of the update logic: cases of a vectors file run through EvaluateManifest on a test key,
// then the fixed host and build checks of this build.
#include <fstream>

#include "update/Update.h"
#include "update/UpdateBuild.h"

namespace {

struct Report {
    std::string text;
    bool pass = true;
    void Line(bool ok, const std::string& label) {
        text += (ok ? "PASS " : "FAIL ") + label + "\n";
        pass = pass && ok;
    }
};

std::string CaseManifest(const std::string& line) {
    using UpdateCore::ExtractJsonStringField;
    std::string doc = "{";
    const char* keys[] = {"tier", "version", "url", "sha256", "sig"};
    for (size_t i = 0; i < 5; ++i) {
        std::string value;
        for (const char c : ExtractJsonStringField(line, keys[i])) {
            if (c == '"' || c == '\\') value += '\\';
            value += c;
        }
        doc += std::string(i ? "," : "") + "\"" + keys[i] + "\":\"" + value + "\"";
    }
    return doc + "}";
}

}  // namespace

bool SelfTestUpdate(const std::string& vectorsPath, std::string& report) {
    using namespace UpdateCore;
    std::ifstream in(vectorsPath, std::ios::binary);
    if (!in) {
        report = "FAIL could not open vectors file: " + vectorsPath + "\n";
        return false;
    }
    Report r;
    std::shared_ptr<UpdateKey> key;
    int cases = 0;
    std::string line;
    while (std::getline(in, line)) {
        if (line.find_first_not_of(" \t\r") == std::string::npos) continue;
        const std::string kind = ExtractJsonStringField(line, "line");
        if (kind == "key") {
            const std::vector<unsigned char> blob = HexDecode(ExtractJsonStringField(line, "hex"));
            key = ImportP256PublicBlob(blob.data(), blob.size());
            r.Line(key != nullptr, "test key loads as a valid P-256 public key");
        } else if (kind == "case") {
            ++cases;
            if (!key) {
                r.Line(false, "case before a valid key line - skipped");
                continue;
            }
            const bool expect = ExtractJsonBoolField(line, "expect", false);
            std::string name = ExtractJsonStringField(line, "name");
            if (name.empty()) name = "case " + std::to_string(cases);
            UpdateManifestInfo out;
            const UpdateKey* k = key.get();
            const bool got = EvaluateManifest(
                [k](const std::string& payload, const std::string& sig) { return VerifyP256(k, payload, sig); },
                CaseManifest(line), ExtractJsonStringField(line, "expectedTier"),
                ExtractJsonStringField(line, "ownVersion"), out);
            r.Line(got == expect, name);
        }
    }

    const std::string path = "/download/quorvane-1.0.2.zip";
    r.Line(IsAllowedInstallerHost(std::string("https://") + kWebHost + path), "host: web host accepted");
    r.Line(IsAllowedInstallerHost(std::string("https://") + kApiHost + path), "host: API host accepted");
    r.Line(!IsAllowedInstallerHost(std::string("https://") + kWebHost + ".evil.example" + path),
           "host: look-alike subdomain rejected");
    r.Line(!IsAllowedInstallerHost(std::string("https://") + kWebHost + "@evil.example" + path),
           "host: userinfo trick rejected");
    r.Line(!IsAllowedInstallerHost(std::string("https://") + kWebHost + ":8443" + path),
           "host: explicit port rejected");
    r.Line(!IsAllowedInstallerHost("https://example.com" + path), "host: other site rejected");
    r.Line(!IsAllowedInstallerHost(std::string("http://") + kWebHost + path), "host: plain http rejected");
    // The loopback host and the test key belong to test builds only.
    const bool testBuild = UpdateIsTestBuild();
    const bool loopback = IsAllowedInstallerHost("https://127.0.0.1:8443" + path);
    r.Line(loopback == testBuild,
           testBuild ? "host: loopback test site accepted by this test build" : "host: loopback test site rejected");
    const bool releaseKeyLoads = ImportP256PublicBlob(kReleasePublicKeyBlob, 72) != nullptr;
    r.Line(releaseKeyLoads, "signing certificate pinned in this build");
    // A manifest payload signed by the test key: trusted exactly when this is a test build.
    const bool testKeyTrusted = VerifyWithTrustedKeys(
        "QVN-UPDATE-1|pro|9.9.9|0000000000000000000000000000000000000000000000000000000000000000|"
        "https://quorvane.app/test-key-probe.zip",
        "ac646a4a6aaa39e9ba84e405f52436c7566adb1a8f6471b31c038837e5e86a7c"
        "535b408278e7e88d291ec1ac4dea9c443132349a3efd1f998c49c3c40035fea0");
    r.Line(testKeyTrusted == testBuild,
           testBuild ? "test key accepted by this test build" : "test key refused by this build");
    if (cases == 0) r.Line(false, "no cases found in vectors file");
    report = r.text;
    return r.pass;
}
