// .bmp files from hostile bytes: loadBitmapFile on the input written to a
// file, the layout of what it accepts checked against the file format's
// rules, Windows' drawing code reading the accepted bitmap from memory that
// ends where the file does, and a save and load round trip. The input's
// header fields also build a new DIBitmap, whose block must hold all that
// its headers describe.
#include "fuzz_target.h"

#include <qorcor14/colour/bitmap.h>
#include <qorcor14/errors.h>

#include <windows.h>

#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

std::uint32_t le32(const std::uint8_t* p) {
  std::uint32_t v;
  std::memcpy(&v, p, 4);
  return v;
}
std::uint16_t le16(const std::uint8_t* p) {
  std::uint16_t v;
  std::memcpy(&v, p, 2);
  return v;
}

std::uint64_t magnitude(std::int32_t v) { return v < 0 ? 0 - std::uint64_t(std::int64_t(v)) : std::uint64_t(v); }

// A row's bytes in exact arithmetic.
std::uint64_t rowBytes(std::uint64_t bitCount, std::uint64_t width) { return (bitCount * width + 31) / 32 * 4; }

// The input file, the saved copy, and a memory DC for the drawing code.
struct Scratch {
  qorfuzz::ScratchFile input{L"-bitmap-in.bmp"}, output{L"-bitmap-out.bmp"};
  HDC dc = CreateCompatibleDC(nullptr);
  ~Scratch() { DeleteDC(dc); }
};

const Scratch& scratch() {
  static const Scratch s;
  return s;
}

// Everything the file format has the drawing code read lies inside the
// file: the information header, the bit-field masks after a plain header,
// the colour table and the rows; bitsSize() counts the rows exactly.
void checkLayout(const DIBitmap& bmp, const std::uint8_t* data, std::size_t size) {
  const auto* file = static_cast<const std::uint8_t*>(bmp.fileData());
  qorfuzz::fuzzCheck(bmp.fileSize() == size, "the file size field is not the file's size");
  qorfuzz::fuzzCheck(std::memcmp(file, data, size) == 0, "the loaded bytes differ from the file");
  qorfuzz::fuzzCheck(reinterpret_cast<const std::uint8_t*>(bmp.header()) == file + 14,
                     "the information header is not after the file header");
  const BITMAPINFOHEADER& h = bmp.header()->bmiHeader;
  const std::uint64_t headerEnd = 14 + std::uint64_t(h.biSize);
  qorfuzz::fuzzCheck(h.biSize >= 40 && headerEnd <= size, "the information header runs past the file");
  const std::uint64_t masks = h.biCompression == BI_BITFIELDS && h.biSize == 40 ? 12 : 0;
  const std::uint64_t colours = h.biClrUsed ? h.biClrUsed : h.biBitCount <= 8 ? 1u << h.biBitCount : 0;
  const std::uint64_t tableEnd = headerEnd + masks + 4 * colours;
  qorfuzz::fuzzCheck(tableEnd <= size, "the masks or the colour table run past the file");
  const std::uint64_t offset = static_cast<const std::uint8_t*>(bmp.bits()) - file;
  qorfuzz::fuzzCheck(offset == le32(data + 10), "bits() is not at the bits offset");
  const std::uint64_t rows = rowBytes(h.biBitCount, std::uint32_t(h.biWidth)) * magnitude(h.biHeight);
  qorfuzz::fuzzCheck(offset >= tableEnd && offset + rows <= size, "the rows lie outside the file");
  qorfuzz::fuzzCheck(bmp.bitsSize() == rows, "bitsSize() does not count the rows");
  qorfuzz::fuzzCheck(offset + h.biSizeImage <= size, "the image size runs past the file");
}

// The drawing code reads the bitmap from a copy whose last byte is followed
// by an inaccessible page: a read past the file faults.
void drawFromFencedCopy(const std::uint8_t* data, std::size_t size) {
  auto* copy = static_cast<std::uint8_t*>(qorfuzz::roomBeforeGuardPage(size));
  if (!copy) return;
  std::memcpy(copy, data, size);
  // The headers follow the 14-byte file header, so they are not 4-aligned:
  // only their addresses are formed here, and GDI reads them.
  const auto* header = reinterpret_cast<const BITMAPINFOHEADER*>(copy + 14);
  const auto* bitmapInfo = reinterpret_cast<const BITMAPINFO*>(copy + 14);
  const HBITMAP drawn =
      CreateDIBitmap(scratch().dc, header, CBM_INIT, copy + le32(copy + 10), bitmapInfo, DIB_RGB_COLORS);
  if (drawn) DeleteObject(drawn);
}

// A new DIBitmap from the input's width, height, bit count and colour count:
// built whole, or refused exactly when a size does not fit 32 bits.
void checkNewBitmap(const std::uint8_t* data, std::size_t size) {
  if (size < 50) return;
  const std::uint32_t width = le32(data + 18), colours = le32(data + 46);
  const auto height = static_cast<std::int32_t>(le32(data + 22));
  const std::uint16_t bitCount = le16(data + 28);
  const bool strideFits = std::uint64_t(bitCount) * width + 31 <= 0xFFFFFFFFu;
  const std::uint64_t rows = rowBytes(bitCount, width) * magnitude(height);
  const std::uint64_t block = 56 + 4 * std::uint64_t(colours) + rows;
  // Blocks past 64 MiB are only checked for their refusal.
  if (strideFits && block <= 0xFFFFFFFFu && block > (64u << 20)) return;
  try {
    const DIBitmap bmp(width, height, bitCount, colours);
    qorfuzz::fuzzCheck(strideFits && block <= 0xFFFFFFFFu, "a bitmap larger than 32 bits can count was built");
    qorfuzz::fuzzCheck(bmp.fileSize() + 2 == block, "the block is not what the headers describe");
    qorfuzz::fuzzCheck(bmp.bitsSize() == rows, "bitsSize() does not count the rows");
    qorfuzz::fuzzCheck(
        static_cast<const std::uint8_t*>(bmp.bits()) - static_cast<const std::uint8_t*>(bmp.fileData()) ==
            std::ptrdiff_t(54 + 4 * std::uint64_t(colours)),
        "the bits do not follow the colour table");
  } catch (const QOR::QorError& e) {
    qorfuzz::fuzzCheck(std::wstring(e.wWhat()) == L"integer value right out of range",
                       "a new bitmap refused with another text");
    qorfuzz::fuzzCheck(!strideFits || block > 0xFFFFFFFFu, "a bitmap that fits 32 bits was refused");
  }
}

bool isLoadError(const char* what) {
  for (const char* allowed : {"bitmap file too short", "not a bitmap file", "bitmap file size does not match the file",
                              "bitmap header is not supported", "bitmap colour table lies outside the file",
                              "bitmap bits lie outside the file"})
    if (std::strcmp(what, allowed) == 0) return true;
  return false;
}

// Loads the file, checks what it accepts and round-trips it.
void checkLoad(const std::uint8_t* data, std::size_t size) {
  const Scratch& files = scratch();
  qorfuzz::writeWholeFile(files.input.name(), data, size);
  std::unique_ptr<DIBitmap> bmp;
  try {
    bmp = loadBitmapFile(files.input.name());
  } catch (const std::logic_error& e) {
    qorfuzz::fuzzCheck(isLoadError(e.what()), "a load refused with a text the library does not give");
    return;
  }
  checkLayout(*bmp, data, size);
  drawFromFencedCopy(data, size);
  saveBitmapFile(*bmp, files.output.name());
  const auto back = loadBitmapFile(files.output.name());
  qorfuzz::fuzzCheck(
      back->fileSize() == bmp->fileSize() && std::memcmp(back->fileData(), bmp->fileData(), bmp->fileSize()) == 0,
      "a saved bitmap loads back different");
}

// A bitmap as the library writes it.
qorfuzz::Seed saved(const char* name, unsigned width, int height, unsigned short bitCount, unsigned colours,
                    std::uint32_t compression = BI_RGB) {
  DIBitmap bmp(width, height, bitCount, colours);
  auto* file = static_cast<std::uint8_t*>(bmp.fileData());
  for (std::size_t i = 54; i < bmp.fileSize(); ++i) file[i] = static_cast<std::uint8_t>(i * 37);
  bmp.header()->bmiHeader.biCompression = compression;
  if (compression == BI_BITFIELDS) bmp.header()->bmiHeader.biClrUsed = 0;  // the three slots hold the masks
  saveBitmapFile(bmp, scratch().output.name());
  qorfuzz::Seed seed = qorfuzz::seedFromFile(scratch().output.name());
  seed.name = name;
  return seed;
}

}  // namespace

std::vector<qorfuzz::Seed> fuzzSeeds() {
  std::vector<qorfuzz::Seed> seeds = {
      saved("1-bit.bmp", 13, 5, 1, 2),
      saved("4-bit.bmp", 7, -3, 4, 16),
      saved("8-bit.bmp", 5, 4, 8, 256),
      saved("16-bit.bmp", 6, 3, 16, 0),
      saved("24-bit.bmp", 5, -3, 24, 0),
      saved("32-bit.bmp", 3, 3, 32, 0),
      saved("bitfields.bmp", 4, 2, 16, 3, BI_BITFIELDS),
  };
  for (auto& s : qorfuzz::seedsFromFolder(qorfuzz::sourcePath(L"fuzz/seeds/bitmap"), L".bmp"))
    seeds.push_back(std::move(s));
  return seeds;
}

void fuzzOne(const std::uint8_t* data, std::size_t size) {
  checkNewBitmap(data, size);
  checkLoad(data, size);
  // Most mutations change the length, which the file size field must give:
  // the layout rules behind that check get the input with the field fixed.
  if (size >= 6 && le32(data + 2) != size) {
    std::vector<std::uint8_t> fixed(data, data + size);
    const auto length = static_cast<std::uint32_t>(size);
    std::memcpy(fixed.data() + 2, &length, 4);
    checkLoad(fixed.data(), size);
  }
}
