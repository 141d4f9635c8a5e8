// What differs between the release build and the test build of the update: the keys it trusts and the hosts
// it talks to. The release build trusts only the release key and the product's hosts; the test build also
// trusts the committed test key, a loopback host, and that host's throw-away certificate.
#pragma once

#include <string>

bool UpdateIsTestBuild();

// The public half of the release signing key: "ECS1", a 4-byte little-endian length of 32, X, Y (72 bytes).
extern const unsigned char kReleasePublicKeyBlob[72];
// The public half of the test key, in the same form. Trusted only by a test build.
extern const unsigned char kTestPublicKeyBlob[72];

// The certificate file that a test build trusts for the loopback host; empty in the release build.
std::string UpdateTestCertificateFile();
