#include <qorcor14/colour.h>
#include <qorcor14/errors.h>

#include <gtest/gtest.h>

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
  void SetUp() override {
    wchar_t base[MAX_PATH];
    GetTempPathW(MAX_PATH, base);
    m_dir = std::wstring(base) + L"qor_bitmap_" + std::to_wstring(GetCurrentProcessId());
    CreateDirectoryW(m_dir.c_str(), nullptr);
  }
  void TearDown() override {
    for (const auto& f : m_files) DeleteFileW(f.c_str());
    RemoveDirectoryW(m_dir.c_str());
  }
  std::wstring file(const std::wstring& name) {
    m_files.push_back(m_dir + L"\\" + name);
    return m_files.back();
  }
  void writeBytes(const std::wstring& name, const std::vector<unsigned char>& data) {
    HANDLE h = CreateFileW(name.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
    ASSERT_NE(h, INVALID_HANDLE_VALUE);
    DWORD put = 0;
    WriteFile(h, data.data(), DWORD(data.size()), &put, nullptr);
    CloseHandle(h);
  }

  std::wstring m_dir;
  std::vector<std::wstring> m_files;
};

TEST(DIBitmapLayout, HeadersTableAndBitsSitWhereTheFileFormatPutsThem) {
  struct Case { unsigned width; int height; unsigned short bits; unsigned colours; unsigned stride, bitsSize; };
  const Case cases[] = {
      {3, 2, 24, 0, 12, 24}, {1, -5, 1, 2, 4, 20}, {33, 3, 1, 2, 8, 24},
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

TEST_F(BitmapFiles, MalformedFilesAreRefused) {
  DIBitmap good(2, 2, 24, 0);
  std::memset(good.bits(), 0, good.bitsSize());
  const auto* f = static_cast<const unsigned char*>(good.fileData());
  const std::vector<unsigned char> valid(f, f + good.fileSize());
  auto patched = [&](std::size_t at, std::uint32_t v, std::size_t n = 4) {
    std::vector<unsigned char> b = valid;
    std::memcpy(b.data() + at, &v, n);
    return b;
  };
  auto cut = [&](std::size_t n) { return std::vector<unsigned char>(valid.begin(), valid.begin() + n); };
  std::vector<unsigned char> grown = valid;
  grown.push_back(0);
  struct Case { const char* name; std::vector<unsigned char> data; const char* error; };
  const Case cases[] = {
      {"empty", {}, "bitmap file too short"},
      {"headers cut", cut(53), "bitmap file too short"},
      {"wrong type", patched(0, 'B' | 'A' << 8, 2), "not a bitmap file"},
      {"size larger than the file", patched(2, 71), "bitmap file size does not match the file"},
      {"size smaller than the file", patched(2, 69), "bitmap file size does not match the file"},
      {"core header", patched(14, 12), "bitmap header is not supported"},
      {"header past the end", patched(14, 60), "bitmap header is not supported"},
      {"run-length compressed", patched(30, BI_RLE8), "bitmap header is not supported"},
      {"bits offset past the end", patched(10, 71), "bitmap bits lie outside the file"},
      {"bits offset inside the header", patched(10, 20), "bitmap bits lie outside the file"},
      {"rows past the end", patched(22, 3), "bitmap bits lie outside the file"},
      {"width wraps 32 bits", patched(18, 0x80000001), "bitmap bits lie outside the file"},
      {"a byte more than its size", grown, "bitmap file size does not match the file"},
  };
  for (const Case& k : cases) {
    SCOPED_TRACE(k.name);
    const std::wstring name = file(L"bad.bmp");
    writeBytes(name, k.data);
    try {
      (void)loadBitmapFile(name);
      ADD_FAILURE() << "accepted";
    } catch (const std::logic_error& e) {
      EXPECT_STREQ(e.what(), k.error);
    }
  }
  const std::wstring name = file(L"good.bmp");
  writeBytes(name, valid);
  EXPECT_EQ(loadBitmapFile(name)->bitsSize(), 16u);
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

} // namespace
