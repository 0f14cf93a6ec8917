// DIBitmap: the .bmp-shaped block, its allocation rule and its accessors;
// .bmp file loading and saving; the GDI+ start-up scope.
#include <qorcor14/colour/bitmap.h>
#include <qorcor14/errors.h>

#include "colour/internal/win_file.h"
#include "common/checked_size.h"

#include <windows.h>
#include <gdiplus.h>

#include <cstdlib>
#include <cstring>
#include <new>
#include <optional>
#include <stdexcept>

namespace {

// Blocks from this size on come from VirtualAlloc.
constexpr std::uint32_t kVirtualAllocThreshold = 1048577;

// Offsets inside the block (two bytes of padding come first).
constexpr std::size_t kFileHeader = 2;
constexpr std::size_t kInfoHeader = 16;
constexpr std::size_t kColourTable = 56;

using QOR::internal::checkedAdd;
using QOR::internal::checkedMultiply;
using QOR::internal::checkedNarrow;
using QOR::internal::rangeInside;

std::uint32_t read32(const unsigned char* p) {
  std::uint32_t v;
  std::memcpy(&v, p, 4);
  return v;
}
std::uint16_t read16(const unsigned char* p) {
  std::uint16_t v;
  std::memcpy(&v, p, 2);
  return v;
}
void write32(unsigned char* p, std::uint32_t v) { std::memcpy(p, &v, 4); }
void write16(unsigned char* p, std::uint16_t v) { std::memcpy(p, &v, 2); }

std::uint32_t stride(std::uint32_t bitCount, std::uint32_t width) { return ((bitCount * width + 31) >> 3) & ~3u; }

// The stride, or nothing when bitCount * width + 31 does not fit the 32 bits
// that stride() and bitsSize() compute it in.
std::optional<std::uint32_t> checkedStride(std::uint32_t bitCount, std::uint32_t width) {
  if (!checkedNarrow<std::uint32_t>(checkedAdd(checkedMultiply(bitCount, width), 31))) return std::nullopt;
  return stride(bitCount, width);
}

// |height| without overflow for INT_MIN.
std::uint32_t magnitude(std::int32_t height) {
  return height < 0 ? 0u - static_cast<std::uint32_t>(height) : static_cast<std::uint32_t>(height);
}

}  // namespace

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
  const std::optional<std::uint32_t> block = checkedNarrow<std::uint32_t>(checkedAdd(fileSize, 2));
  if (!block) throwIntCast();
  m_blockSize = *block;
  allocate();
  write16(m_block + kFileHeader, 0);
  write32(m_block + kFileHeader + 2, fileSize);
}

DIBitmap::DIBitmap(unsigned int width, int height, unsigned short bitCount, unsigned int colours)
    : m_blockSize(0), m_block(nullptr) {
  // Every size the headers describe must fit their 32-bit fields, or the
  // block would be smaller than what is later read from it.
  const std::optional<std::uint32_t> rowBytes = checkedStride(bitCount, width);
  const std::optional<std::size_t> bits = rowBytes ? checkedMultiply(magnitude(height), *rowBytes) : std::nullopt;
  const std::optional<std::uint32_t> block =
      bits ? checkedNarrow<std::uint32_t>(checkedAdd(checkedAdd(checkedMultiply(colours, 4), kColourTable), *bits))
           : std::nullopt;
  if (!block) throwIntCast();
  m_blockSize = *block;
  const std::uint32_t table = 4 * colours;
  const std::uint32_t bitsSize = m_blockSize - kColourTable - table;
  allocate();
  unsigned char* f = m_block + kFileHeader;
  write16(f, 19778);  // "BM"
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
  write32(h + 20, 0);  // image size
  write32(h + 24, 0);  // resolutions
  write32(h + 28, 0);
  write32(h + 32, colours);
  write32(h + 36, 0);
}

DIBitmap::DIBitmap(const DIBitmap& other) : m_blockSize(other.m_blockSize), m_block(nullptr) {
  allocate();
  std::memcpy(m_block, other.m_block, m_blockSize < kColourTable ? kColourTable : m_blockSize);
}

DIBitmap::~DIBitmap() {
  if (m_blockSize >= kVirtualAllocThreshold) VirtualFree(m_block, 0, MEM_RELEASE);
  else delete[] m_block;
}

unsigned int DIBitmap::fileSize() const { return read32(m_block + kFileHeader + 2); }
unsigned int DIBitmap::bitsOffset() const { return read32(m_block + kFileHeader + 10); }

BITMAPINFO* DIBitmap::header() { return reinterpret_cast<BITMAPINFO*>(m_block + kInfoHeader); }
const BITMAPINFO* DIBitmap::header() const { return reinterpret_cast<const BITMAPINFO*>(m_block + kInfoHeader); }

unsigned int DIBitmap::bitsSize() const {
  const unsigned char* h = m_block + kInfoHeader;
  std::uint16_t bitCount;
  std::memcpy(&bitCount, h + 14, 2);
  return magnitude(static_cast<std::int32_t>(read32(h + 8))) * stride(bitCount, read32(h + 4));
}

namespace {

// The colour table's entries: the count the header gives, or for up to 8
// bits per pixel a full table when it gives none.
std::size_t tableEntries(std::uint32_t coloursUsed, std::uint16_t bitCount) {
  if (coloursUsed != 0) return coloursUsed;
  return bitCount <= 8 ? std::size_t(1) << bitCount : 0;
}

bool supportedBitCount(std::uint16_t bitCount, bool bitFields) {
  if (bitFields) return bitCount == 16 || bitCount == 32;
  return bitCount == 1 || bitCount == 4 || bitCount == 8 || bitCount == 16 || bitCount == 24 || bitCount == 32;
}

// Checks that the `size` bytes of file f are a bitmap whose headers, masks,
// colour table and bits all lie inside them, in that order.
void checkLayout(const unsigned char* f, std::uint32_t size) {
  if (f[0] != 'B' || f[1] != 'M') throw std::logic_error("not a bitmap file");
  if (read32(f + 2) != size) throw std::logic_error("bitmap file size does not match the file");
  const unsigned char* h = f + 14;
  const std::uint32_t headerSize = read32(h);
  const std::uint32_t width = read32(h + 4);
  const std::uint16_t bitCount = read16(h + 14);
  const std::uint32_t compression = read32(h + 16);
  const bool bitFields = compression == BI_BITFIELDS;
  if (headerSize < 40 || headerSize > size - 14 || (compression != BI_RGB && !bitFields) ||
      !supportedBitCount(bitCount, bitFields) || static_cast<std::int32_t>(width) < 0)
    throw std::logic_error("bitmap header is not supported");
  // Three masks follow a plain information header; the later ones hold them.
  const std::size_t masks = bitFields && headerSize == 40 ? 12 : 0;
  const std::optional<std::size_t> tableEnd =
      checkedAdd(checkedMultiply(tableEntries(read32(h + 32), bitCount), 4), 14 + std::size_t(headerSize) + masks);
  if (!tableEnd || *tableEnd > size) throw std::logic_error("bitmap colour table lies outside the file");
  const std::uint32_t offset = read32(f + 10);
  const std::optional<std::uint32_t> rowBytes = checkedStride(bitCount, width);
  const std::optional<std::size_t> bits =
      rowBytes ? checkedMultiply(*rowBytes, magnitude(static_cast<std::int32_t>(read32(h + 8)))) : std::nullopt;
  if (offset < *tableEnd || !bits || !rangeInside(offset, *bits, size) || !rangeInside(offset, read32(h + 20), size))
    throw std::logic_error("bitmap bits lie outside the file");
}

}  // namespace

std::unique_ptr<DIBitmap> loadBitmapFile(const std::wstring& fileName) {
  QOR::internal::WinFile file(fileName, GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING);
  const std::optional<std::uint32_t> size = checkedNarrow<std::uint32_t>(checkedAdd(file.size(), 2));
  if (!size) throwIntCast();
  const std::uint32_t length = *size - 2;
  if (length < 14 + 40) throw std::logic_error("bitmap file too short");
  auto bmp = std::make_unique<DIBitmap>(length);
  auto* f = static_cast<unsigned char*>(bmp->fileData());
  file.read(f, length);
  checkLayout(f, length);
  return bmp;
}

void saveBitmapFile(const DIBitmap& bitmap, const std::wstring& fileName) {
  const unsigned int size = bitmap.fileSize();
  if (size > bitmap.m_blockSize - kFileHeader) throw std::logic_error("bitmap file size exceeds its block");
  QOR::internal::WinFile file(fileName, GENERIC_WRITE, 0, CREATE_ALWAYS);
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
