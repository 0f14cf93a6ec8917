// qorcor14/colour/bitmap.h - device-independent bitmaps held exactly as a
// .bmp file in memory, .bmp file loading and saving, and a GDI+ scope.
#pragma once

#include <qorcor14/config.h>

#include <cstdint>
#include <memory>
#include <string>

// The Windows type of header(); <windows.h> declares the same name.
typedef struct tagBITMAPINFO BITMAPINFO;

// One memory block laid out as a .bmp file, two bytes in:
//
//   offset 0   2 bytes padding (puts the information header at offset 16)
//          2   BITMAPFILEHEADER (type, file size, reserved, bits offset)
//         16   BITMAPINFOHEADER (40 bytes)
//         56   colour table, 4 bytes per colour
//              pixel rows, each padded to a multiple of 4 bytes
//
// so the same block is written to a file from fileData(), read from one, or
// handed to the drawing functions as header() and bits().
//
// Example:
//   DIBitmap bmp(640, -480, 24, 0);                  // top-down, 24 bits
//   Colour::rgb(1, 0, 0).getDib24(bmp.bits());       // first pixel red
//   saveBitmapFile(bmp, L"out.bmp");
//
// Note: a block of 1048577 bytes or more comes from VirtualAlloc (commit,
// read-write), a smaller one from the heap; a failed allocation throws
// std::bad_alloc.
// Note: the colour table and the bits of a new bitmap are not initialised.
class QORCOR14_API DIBitmap {
public:
  // A block of fileSize + 2 bytes to receive a whole .bmp file at
  // fileData(). Only the file header's type (0) and file size are set.
  // Throws QOR::QorError "integer value right out of range" when fileSize + 2
  // does not fit 32 bits.
  explicit DIBitmap(unsigned int fileSize);
  // A new bitmap of `height` rows (negative: top-down) of `width` pixels of
  // bitCount bits, with `colours` colour table entries, uncompressed.
  // Throws QOR::QorError "integer value right out of range" when the block
  // (56 + 4 * colours + |height| * stride bytes) or bitCount * width + 31
  // does not fit 32 bits: the block always holds all that its headers
  // describe.
  // Note: the row stride ((bitCount * width + 31) >> 3) & ~3 is computed in
  // 32-bit unsigned arithmetic, as bitsSize() computes it.
  DIBitmap(unsigned int width, int height, unsigned short bitCount, unsigned int colours);
  // A copy of the whole block, under the same allocation rule.
  DIBitmap(const DIBitmap& other);
  DIBitmap& operator=(const DIBitmap&) = delete;
  ~DIBitmap();

  // The .bmp file image: the block plus 2.
  [[nodiscard]] void* fileData() { return m_block + 2; }
  [[nodiscard]] const void* fileData() const { return m_block + 2; }
  // The file header's file size field.
  [[nodiscard]] unsigned int fileSize() const;
  // The information header: the block plus 16.
  [[nodiscard]] BITMAPINFO* header();
  [[nodiscard]] const BITMAPINFO* header() const;
  // The pixel rows: the block plus 2 plus the file header's bits offset.
  [[nodiscard]] void* bits() { return m_block + 2 + bitsOffset(); }
  [[nodiscard]] const void* bits() const { return m_block + 2 + bitsOffset(); }
  // |height| * stride, recomputed from the information header.
  [[nodiscard]] unsigned int bitsSize() const;

private:
  friend QORCOR14_API void saveBitmapFile(const DIBitmap& bitmap, const std::wstring& fileName);

  [[nodiscard]] unsigned int bitsOffset() const;
  void allocate();

  std::uint32_t m_blockSize;
  unsigned char* m_block;
};

// Reads the .bmp file `fileName` whole into a bitmap.
//
// Throws WinError (naming the failing call) when the file cannot be opened or
// read, QOR::QorError "integer value right out of range" for a file of 4 GiB
// or more, and std::logic_error for a file that is not a well-formed
// uncompressed bitmap, checked in this order: "bitmap file too short", "not
// a bitmap file", "bitmap file size does not match the file", "bitmap header
// is not supported" (information header under 40 bytes or past the end,
// compressed other than with bit fields, a bit count other than 1, 4, 8, 16,
// 24 or 32 (16 or 32 with bit fields), a negative width), "bitmap colour
// table lies outside the file" (the bit-field masks after a 40-byte header,
// then the colours used, or 2^bitCount of them up to 8 bits when none are
// given), "bitmap bits lie outside the file" (bits offset before the table's
// end, or rows or image size past the end of the file).
//
// Example:
//   std::unique_ptr<DIBitmap> bmp = loadBitmapFile(L"in.bmp");
//   Colour c = Colour::dib24(bmp->bits());   // first stored pixel (24 bits)
[[nodiscard]] QORCOR14_API std::unique_ptr<DIBitmap> loadBitmapFile(const std::wstring& fileName);

// Writes fileSize() bytes from fileData() to `fileName`, replacing it.
// Throws WinError when the file cannot be created or written, and
// std::logic_error "bitmap file size exceeds its block" when the header's file
// size is larger than the block: nothing past the block is ever written.
QORCOR14_API void saveBitmapFile(const DIBitmap& bitmap, const std::wstring& fileName);

// Starts GDI+ for the lifetime of the object (version 1, no debug callback,
// no background thread: the object calls the notification hook itself).
//
// Example:
//   ContextGdiplus gdiplus;   // GDI+ drawing is allowed until it goes
//
// Note: the status of GdiplusStartup is not examined.
class QORCOR14_API ContextGdiplus {
public:
  ContextGdiplus();
  ~ContextGdiplus();
  ContextGdiplus(const ContextGdiplus&) = delete;
  // Copies the three tokens (both objects then shut down the same start-up).
  ContextGdiplus& operator=(const ContextGdiplus& other) = default;

private:
  using UnhookProc = void(__stdcall*)(std::uintptr_t token);

  std::uintptr_t m_token;
  std::uintptr_t m_hookToken;
  UnhookProc m_unhook;
};
