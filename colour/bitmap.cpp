// DIBitmap: the .bmp-shaped block, its allocation rule and its accessors;
// .bmp file loading and saving; the GDI+ start-up scope.
#include <qorcor14/colour/bitmap.h>
#include <qorcor14/errors.h>

#include "colour/internal/win_file.h"

#include <windows.h>
#include <gdiplus.h>

#include <cstdlib>
#include <cstring>
#include <new>
#include <stdexcept>

namespace {

// Blocks from this size on come from VirtualAlloc.
constexpr std::uint32_t kVirtualAllocThreshold = 1048577;

// Offsets inside the block (two bytes of padding come first).
constexpr std::size_t kFileHeader = 2;
constexpr std::size_t kInfoHeader = 16;
constexpr std::size_t kColourTable = 56;

std::uint32_t read32(const unsigned char* p) {
  std::uint32_t v;
  std::memcpy(&v, p, 4);
  return v;
}
void write32(unsigned char* p, std::uint32_t v) { std::memcpy(p, &v, 4); }
void write16(unsigned char* p, std::uint16_t v) { std::memcpy(p, &v, 2); }

std::uint32_t stride(std::uint32_t bitCount, std::uint32_t width) {
  return ((bitCount * width + 31) >> 3) & ~3u;
}

// |height| without overflow for INT_MIN.
std::uint32_t magnitude(std::int32_t height) {
  return height < 0 ? 0u - static_cast<std::uint32_t>(height) : static_cast<std::uint32_t>(height);
}

} // namespace

void DIBitmap::allocate() {
  if (m_blockSize >= kVirtualAllocThreshold) {
    m_block = static_cast<unsigned char*>(VirtualAlloc(nullptr, m_blockSize, MEM_COMMIT, PAGE_READWRITE));
    if (!m_block) throw std::bad_alloc();
  } else {
    // A block shorter than the two headers (a tiny file-size bitmap) still
    // gets room for them, zeroed, so that the accessors never read outside
    // the allocation.
    const std::uint32_t room = m_blockSize < kColourTable ? kColourTable : m_blockSize;
    m_block = new unsigned char[room];
    if (room != m_blockSize) std::memset(m_block, 0, room);
  }
}

DIBitmap::DIBitmap(unsigned int fileSize) : m_blockSize(0), m_block(nullptr) {
  if (fileSize > 0xFFFFFFFFu - 2) throwIntCast();
  m_blockSize = fileSize + 2;
  allocate();
  write16(m_block + kFileHeader, 0);
  write32(m_block + kFileHeader + 2, fileSize);
}

DIBitmap::DIBitmap(unsigned int width, int height, unsigned short bitCount, unsigned int colours)
    : m_blockSize(0), m_block(nullptr) {
  const std::uint32_t bitsSize = magnitude(height) * stride(bitCount, width);
  const std::uint32_t table = 4 * colours;
  m_blockSize = table + 56 + bitsSize;
  allocate();
  unsigned char* f = m_block + kFileHeader;
  write16(f, 19778);                  // "BM"
  write32(f + 2, table + 54 + bitsSize);
  write32(f + 6, 0);
  write32(f + 10, table + 54);
  unsigned char* h = m_block + kInfoHeader;
  write32(h, 40);
  write32(h + 4, width);
  write32(h + 8, static_cast<std::uint32_t>(height));
  write16(h + 12, 1);
  write16(h + 14, bitCount);
  write32(h + 16, BI_RGB);
  write32(h + 20, 0);                 // image size
  write32(h + 24, 0);                 // resolutions
  write32(h + 28, 0);
  write32(h + 32, colours);
  write32(h + 36, 0);
}

DIBitmap::DIBitmap(const DIBitmap& other) : m_blockSize(other.m_blockSize), m_block(nullptr) {
  allocate();
  std::memcpy(m_block, other.m_block, m_blockSize < kColourTable ? kColourTable : m_blockSize);
}

DIBitmap::~DIBitmap() {
  if (m_blockSize >= kVirtualAllocThreshold)
    VirtualFree(m_block, 0, MEM_RELEASE);
  else
    delete[] m_block;
}

unsigned int DIBitmap::fileSize() const { return read32(m_block + kFileHeader + 2); }
unsigned int DIBitmap::bitsOffset() const { return read32(m_block + kFileHeader + 10); }

BITMAPINFO* DIBitmap::header() { return reinterpret_cast<BITMAPINFO*>(m_block + kInfoHeader); }
const BITMAPINFO* DIBitmap::header() const {
  return reinterpret_cast<const BITMAPINFO*>(m_block + kInfoHeader);
}

unsigned int DIBitmap::bitsSize() const {
  const unsigned char* h = m_block + kInfoHeader;
  std::uint16_t bitCount;
  std::memcpy(&bitCount, h + 14, 2);
  return magnitude(static_cast<std::int32_t>(read32(h + 8))) * stride(bitCount, read32(h + 4));
}

std::unique_ptr<DIBitmap> loadBitmapFile(const std::wstring& fileName) {
  QOR::detail::WinFile file(fileName, GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING);
  const unsigned long long length = file.size();
  if (length > 0xFFFFFFFFull - 2) throwIntCast();
  const auto size = static_cast<std::uint32_t>(length);
  if (size < 14 + 40) throw std::logic_error("bitmap file too short");
  auto bmp = std::make_unique<DIBitmap>(size);
  auto* f = static_cast<unsigned char*>(bmp->fileData());
  file.read(f, size);
  if (f[0] != 'B' || f[1] != 'M') throw std::logic_error("not a bitmap file");
  if (read32(f + 2) != size) throw std::logic_error("bitmap file size does not match the file");
  const unsigned char* h = f + 14;
  const std::uint32_t headerSize = read32(h);
  const std::uint32_t compression = read32(h + 16);
  if (headerSize < 40 || headerSize > size - 14 || (compression != BI_RGB && compression != BI_BITFIELDS))
    throw std::logic_error("bitmap header is not supported");
  // The bits must lie wholly inside the file, computed without the 32-bit
  // wrap-around that bitsSize() would hide.
  std::uint16_t bitCount;
  std::memcpy(&bitCount, h + 14, 2);
  const unsigned long long rowBytes = ((unsigned long long)bitCount * read32(h + 4) + 31) / 32 * 4;
  const unsigned long long bits = rowBytes * magnitude(static_cast<std::int32_t>(read32(h + 8)));
  const std::uint32_t offset = read32(f + 10);
  if (offset < 14 + headerSize || offset > size || bits > size - offset)
    throw std::logic_error("bitmap bits lie outside the file");
  return bmp;
}

void saveBitmapFile(const DIBitmap& bitmap, const std::wstring& fileName) {
  const unsigned int size = bitmap.fileSize();
  if (size > bitmap.m_blockSize - kFileHeader) throw std::logic_error("bitmap file size exceeds its block");
  QOR::detail::WinFile file(fileName, GENERIC_WRITE, 0, CREATE_ALWAYS);
  file.write(bitmap.fileData(), size);
}

// GDI+ is started without its background thread, so its owner runs the
// notification hook itself and unhooks before shutting down. When start-up
// fails the hook comes back null and is not called.
ContextGdiplus::ContextGdiplus() : m_token(0), m_hookToken(0), m_unhook(nullptr) {
  Gdiplus::GdiplusStartupInput input(nullptr, TRUE, FALSE);
  Gdiplus::GdiplusStartupOutput output;
  Gdiplus::GdiplusStartup(&m_token, &input, &output);
  if (output.NotificationHook) {
    output.NotificationHook(&m_hookToken);
    m_unhook = output.NotificationUnhook;
  }
}

ContextGdiplus::~ContextGdiplus() {
  if (m_unhook) m_unhook(m_hookToken);
  Gdiplus::GdiplusShutdown(m_token);
}
