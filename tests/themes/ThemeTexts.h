// Theme files for tests, built from parts so that each case changes one thing.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

std::string Base64Encode(const std::vector<uint8_t>& bytes);

// The first bytes of a PNG declaring width x height, padded with zeros to `size` bytes.
std::vector<uint8_t> PngBytes(int width, int height, size_t size = 24);
// A font of `size` bytes starting with the given magic.
std::vector<uint8_t> FontBytes(size_t size, uint32_t magic = 0x00010000);

// A theme with a valid name, six colours and a font stack, then `extra` as further top-level members
// (each starting with a comma).
std::string ThemeText(const std::string& extra = "", const std::string& name = "Night");

// `extra` for ThemeText: format 2, template 1, and the given pieces object and font value (raw JSON).
std::string SkinMembers(const std::string& pieces, const std::string& font = "");

// "\"name\":\"<base64 of a right-sized PNG>\"" for a row of kSkinPieces.
std::string PieceMember(const std::string& name);

void WriteFileBytes(const std::string& path, const std::string& bytes);
