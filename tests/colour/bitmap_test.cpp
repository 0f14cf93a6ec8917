#include <qorcor14/colour.h>
#include <qorcor14/errors.h>

#include <gtest/gtest.h>

#include "support/files.h"

#include <windows.h>
#include <gdiplus.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

std::uint32_t le32(const void* p, std::size_t at) {
  std::uint32_t v;
  std::memcpy(&v, static_cast<const unsigned char*>(p) + at, 4);
  return v;
}

std::ptrdiff_t distance(const void* from, const void* to) {
  return static_cast<const char*>(to) - static_cast<const char*>(from);
}

class BitmapFiles : public testing::Test {
protected:
  std::wstring file(const std::wstring& name) const { return m_folder.file(name); }
  static void writeBytes(const std::wstring& name, const std::vector<unsigned char>& data) {
    qortest::writeBytes(name, std::string(data.begin(), data.end()));
  }

  qortest::ScratchFolder m_folder;
};

TEST(DIBitmapLayout, HeadersTableAndBitsSitWhereTheFileFormatPutsThem) {
  struct Case {
    unsigned width;
    int height;
    unsigned short bits;
    unsigned colours;
    unsigned stride, bitsSize;
  };
  const Case cases[] = {
      {3, 2, 24, 0, 12, 24},  {1, -5, 1, 2, 4, 20},   {33, 3, 1, 2, 8, 24},
      {5, -1, 16, 0, 12, 12}, {7, 4, 32, 0, 28, 112}, {0, 9, 24, 0, 0, 0},
  };
  for (const Case& k : cases) {
    SCOPED_TRACE(testing::Message() << k.width << 'x' << k.height << 'x' << k.bits << '/' << k.colours);
    DIBitmap bmp(k.width, k.height, k.bits, k.colours);
    const void* f = bmp.fileData();
    EXPECT_EQ(std::memcmp(f, "BM", 2), 0);
    EXPECT_EQ(le32(f, 2), 4 * k.colours + 54 + k.bitsSize);
    EXPECT_EQ(bmp.fileSize(), le32(f, 2));
    EXPECT_EQ(le32(f, 10), 4 * k.colours + 54);
    EXPECT_EQ(distance(f, bmp.header()), 14);
    EXPECT_EQ(distance(f, bmp.bits()), std::ptrdiff_t(4 * k.colours + 54));
    EXPECT_EQ(bmp.bitsSize(), k.bitsSize);
    const BITMAPINFOHEADER& h = bmp.header()->bmiHeader;
    EXPECT_EQ(h.biSize + h.biPlanes + h.biCompression, 41u);
    EXPECT_EQ(h.biWidth, LONG(k.width));
    EXPECT_EQ(h.biHeight, k.height);
    EXPECT_EQ(h.biBitCount, k.bits);
    EXPECT_EQ(h.biClrUsed, k.colours);
    EXPECT_EQ(le32(f, 6) + h.biSizeImage + h.biXPelsPerMeter + h.biYPelsPerMeter + h.biClrImportant, 0u);
  }
}

bool startsRegion(const void* p) {
  MEMORY_BASIC_INFORMATION info{};
  VirtualQuery(p, &info, sizeof info);
  return info.AllocationBase == p;
}

TEST(DIBitmapLayout, LargeBlocksComeFromVirtualAllocAndCopiesFollow) {
  // A block is the file size plus 2.
  DIBitmap heap(1048574), virt(1048575);
  EXPECT_FALSE(startsRegion(static_cast<char*>(heap.fileData()) - 2));
  EXPECT_TRUE(startsRegion(static_cast<char*>(virt.fileData()) - 2));
  EXPECT_EQ(virt.fileSize(), 1048575u);
  EXPECT_EQ(le32(virt.fileData(), 0) & 0xFFFF, 0u);
  const DIBitmap heapCopy(heap), virtCopy(virt);
  EXPECT_FALSE(startsRegion(static_cast<const char*>(heapCopy.fileData()) - 2));
  EXPECT_TRUE(startsRegion(static_cast<const char*>(virtCopy.fileData()) - 2));
  // 1024 rows of 1024 bytes and 242 colours: exactly 1048576 bytes.
  DIBitmap edge(1024, 1023, 8, 242);
  EXPECT_EQ(edge.fileSize() + 2, 1048576u);
  EXPECT_FALSE(startsRegion(static_cast<char*>(edge.fileData()) - 2));
  std::memset(edge.bits(), 0x5A, edge.bitsSize());
  const DIBitmap copy(edge);
  EXPECT_EQ(std::memcmp(copy.fileData(), edge.fileData(), edge.fileSize()), 0);
}

// The block holds all that its headers describe: a stride, table or block
// that does not fit 32 bits is refused instead of wrapping. The largest
// blocks that fit (0xFFFFFFFC bytes) are committed but never touched.
TEST(DIBitmapLayout, SizesPastThirtyTwoBitsAreRefused) {
  struct Case {
    unsigned width;
    int height;
    unsigned short bits;
    unsigned colours;
    bool fits;
  };
  const Case cases[] = {
      {0, 0, 8, 0x3FFFFFF1, true},  {0, 0, 8, 0x3FFFFFF2, false},  {0, 0, 8, 0x40000000, false},
      {4, -0x3FFFFFF1, 8, 0, true}, {4, -0x3FFFFFF2, 8, 0, false}, {4, INT_MIN, 8, 0, false},
      {40000, 40000, 24, 0, false}, {0x7FFFFFF, 0, 32, 0, true},   {0x8000000, 0, 32, 0, false},
  };
  for (const Case& k : cases) {
    SCOPED_TRACE(testing::Message() << k.width << 'x' << k.height << 'x' << k.bits << '/' << k.colours);
    if (!k.fits) {
      EXPECT_EQ(qortest::errorText([&] { DIBitmap(k.width, k.height, k.bits, k.colours); }),
                L"integer value right out of range");
      continue;
    }
    const DIBitmap bmp(k.width, k.height, k.bits, k.colours);
    EXPECT_EQ(std::uint64_t(bmp.fileSize()) + 2, k.width == 0x7FFFFFF ? 56u : 0xFFFFFFFCu);
    EXPECT_EQ(distance(bmp.fileData(), bmp.bits()), std::ptrdiff_t(4ull * k.colours + 54));
    EXPECT_EQ(std::uint64_t(bmp.bitsSize()), std::uint64_t(bmp.fileSize()) - 54 - 4ull * k.colours);
  }
}

TEST_F(BitmapFiles, SavedBitmapsLoadBackWithTheirHeader) {
  DIBitmap bmp(5, -3, 24, 0);
  std::mt19937 rng(3);
  auto* bits = static_cast<unsigned char*>(bmp.bits());
  for (unsigned i = 0; i < bmp.bitsSize(); ++i) bits[i] = static_cast<unsigned char>(rng());
  const std::wstring name = file(L"saved.bmp");
  saveBitmapFile(bmp, name);
  const auto back = loadBitmapFile(name);
  EXPECT_EQ(back->fileSize(), bmp.fileSize());
  EXPECT_EQ(back->bitsSize(), 48u);  // from the loaded header: 3 rows of 16 bytes
  EXPECT_EQ(back->header()->bmiHeader.biHeight, -3);
  EXPECT_EQ(std::memcmp(back->fileData(), bmp.fileData(), bmp.fileSize()), 0);
  EXPECT_THROW((void)loadBitmapFile(file(L"absent.bmp")), WinError);
}

std::vector<unsigned char> fileOf(unsigned width, int height, unsigned short bits, unsigned colours) {
  DIBitmap bmp(width, height, bits, colours);
  auto* f = static_cast<unsigned char*>(bmp.fileData());
  std::memset(f + 54, 0, bmp.fileSize() - 54);
  return {f, f + bmp.fileSize()};
}

std::vector<unsigned char> patched(std::vector<unsigned char> b, std::size_t at, std::uint32_t v, std::size_t n = 4) {
  std::memcpy(b.data() + at, &v, n);
  return b;
}

// The first n bytes, with the file size field saying so.
std::vector<unsigned char> cut(const std::vector<unsigned char>& b, std::size_t n) {
  std::vector<unsigned char> c(b.begin(), b.begin() + n);
  return n >= 6 ? patched(c, 2, std::uint32_t(n)) : c;
}

// Each layout rule at its edge: the last file that loads and the first that does not.
TEST_F(BitmapFiles, LayoutIsCheckedAgainstTheFile) {
  const auto valid = fileOf(2, 2, 24, 0);  // 70 bytes, 16 of them bits
  std::vector<unsigned char> grown = valid;
  grown.push_back(0);
  const auto twoColours = fileOf(5, 0, 8, 2);                                         // table ends at the file's end
  const auto masks = patched(patched(fileOf(1, 0, 32, 3), 30, BI_BITFIELDS), 46, 0);  // masks end at the file's end
  const char* const bitsOutside = "bitmap bits lie outside the file";
  const char* const tableOutside = "bitmap colour table lies outside the file";
  const char* const unsupported = "bitmap header is not supported";
  struct Case {
    const char* name;
    std::vector<unsigned char> data;
    const char* error;
  };
  const Case cases[] = {
      {"empty", {}, "bitmap file too short"},
      {"headers cut", cut(valid, 53), "bitmap file too short"},
      {"wrong type", patched(valid, 0, 'B' | 'A' << 8, 2), "not a bitmap file"},
      {"size larger than the file", patched(valid, 2, 71), "bitmap file size does not match the file"},
      {"size smaller than the file", patched(valid, 2, 69), "bitmap file size does not match the file"},
      {"a byte more than its size", grown, "bitmap file size does not match the file"},
      {"core header", patched(valid, 14, 12), unsupported},
      {"header to the end", patched(patched(patched(valid, 14, 56), 10, 70), 22, 0), nullptr},
      {"header past the end", patched(valid, 14, 57), unsupported},
      {"run-length compressed", patched(valid, 30, BI_RLE8), unsupported},
      {"7 bits per pixel", patched(valid, 28, 7, 2), unsupported},
      {"bit fields of 24 bits", patched(valid, 30, BI_BITFIELDS), unsupported},
      {"negative width", patched(valid, 18, 0x80000001), unsupported},
      {"table to the end", twoColours, nullptr},
      {"table a colour past the end", patched(twoColours, 46, 3), tableOutside},
      {"8 bits, no table, bits at 54", fileOf(1, 1, 8, 0), tableOutside},
      {"masks to the end", masks, nullptr},
      {"masks a byte past the end", patched(cut(masks, 65), 10, 65), tableOutside},
      {"bits offset inside the table", patched(twoColours, 10, 61), bitsOutside},
      {"bits offset past the end", patched(valid, 10, 71), bitsOutside},
      {"rows to the end", valid, nullptr},
      {"rows a row past the end", patched(valid, 22, 3), bitsOutside},
      {"image size to the end", patched(valid, 34, 16), nullptr},
      {"image size past the end", patched(valid, 34, 17), bitsOutside},
      {"stride past 32 bits", patched(patched(valid, 18, 0x0AAAAAAB), 22, 0), bitsOutside},
  };
  for (const Case& k : cases) {
    SCOPED_TRACE(k.name);
    const std::wstring name = file(L"case.bmp");
    writeBytes(name, k.data);
    try {
      const auto bmp = loadBitmapFile(name);
      EXPECT_EQ(k.error, nullptr) << "accepted";
      EXPECT_EQ(std::memcmp(bmp->fileData(), k.data.data(), k.data.size()), 0);
    } catch (const std::logic_error& e) {
      EXPECT_STREQ(e.what(), k.error);
    }
  }
  // A header that claims more than its block is not written past the block.
  DIBitmap liar(2, 2, 24, 0);
  std::uint32_t big = 1000;
  std::memcpy(static_cast<unsigned char*>(liar.fileData()) + 2, &big, 4);
  try {
    saveBitmapFile(liar, file(L"liar.bmp"));
    ADD_FAILURE() << "written";
  } catch (const std::logic_error& e) {
    EXPECT_STREQ(e.what(), "bitmap file size exceeds its block");
  }
}

TEST(ContextGdiplus, GdiplusReadsTheBitmapBlockWhileStarted) {
  ContextGdiplus gdiplus;
  DIBitmap bmp(3, -2, 24, 0);
  std::memset(bmp.bits(), 0, bmp.bitsSize());
  Colour::rgb(1, 0.5, 0).getDib24(static_cast<unsigned char*>(bmp.bits()) + 12 + 3);  // row 1, x 1
  Gdiplus::GpBitmap* image = nullptr;
  ASSERT_EQ(Gdiplus::DllExports::GdipCreateBitmapFromGdiDib(bmp.header(), bmp.bits(), &image), Gdiplus::Ok);
  Gdiplus::ARGB pixel = 0;
  EXPECT_EQ(Gdiplus::DllExports::GdipBitmapGetPixel(image, 1, 1, &pixel), Gdiplus::Ok);
  EXPECT_EQ(pixel & 0xFFFFFF, 0xFF8000u);
  Gdiplus::DllExports::GdipDisposeImage(image);
}

// Driven by pillow_roundtrip.py: reads the 24-bit .bmp that Pillow wrote
// with its raw RGB pixels beside it, checks every pixel, and writes the same
// pixels back through DIBitmap, bottom-up and top-down, for Pillow to check.
TEST_F(BitmapFiles, PillowRoundTrip) {
  const char* dir = std::getenv("QOR_BMP_DIR");
  if (!dir) GTEST_SKIP() << "run through pillow_roundtrip.py";
  const std::wstring base = std::wstring(L"Z:") + std::wstring(dir, dir + std::strlen(dir));
  std::ifstream raw(std::string("Z:") + dir + "/pillow.rgb", std::ios::binary);
  std::vector<unsigned char> rgb((std::istreambuf_iterator<char>(raw)), std::istreambuf_iterator<char>());
  const auto in = loadBitmapFile(base + L"/pillow.bmp");
  const BITMAPINFOHEADER& h = in->header()->bmiHeader;
  ASSERT_EQ(h.biBitCount, 24);
  const unsigned width = unsigned(h.biWidth), height = unsigned(std::abs(h.biHeight));
  ASSERT_EQ(rgb.size(), 3u * width * height);
  const unsigned stride = in->bitsSize() / height;
  for (int topDown = 0; topDown < 2; ++topDown) {
    DIBitmap out(width, topDown ? -int(height) : int(height), 24, 0);
    for (unsigned y = 0; y < height; ++y) {
      const unsigned inRow = h.biHeight > 0 ? height - 1 - y : y;
      const unsigned outRow = topDown ? y : height - 1 - y;
      for (unsigned x = 0; x < width; ++x) {
        const unsigned char* px = static_cast<const unsigned char*>(in->bits()) + inRow * stride + 3 * x;
        const unsigned char* want = &rgb[3 * (y * width + x)];
        const Colour c = Colour::dib24(px);
        ASSERT_EQ(c.colorref(), RGB(want[0], want[1], want[2])) << x << ',' << y;
        c.getDib24(static_cast<unsigned char*>(out.bits()) + outRow * stride + 3 * x);
      }
      std::memset(static_cast<unsigned char*>(out.bits()) + outRow * stride + 3 * width, 0, stride - 3 * width);
    }
    saveBitmapFile(out, base + (topDown ? L"/topdown.bmp" : L"/bottomup.bmp"));
  }
}

}  // namespace
