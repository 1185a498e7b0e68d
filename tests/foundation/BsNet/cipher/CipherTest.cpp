#include <BsNet/cipher.h>

#include <gtest/gtest.h>

#include <memory>
#include <numeric>
#include <string>
#include <vector>

namespace {

std::string bytesOf(const std::string& hex) {
  const std::unique_ptr<char[]> bytes(KBL::hexStr2Bytes(hex.c_str(), static_cast<int>(hex.size())));
  return {bytes.get(), hex.size() / 2};
}

std::string hexOf(const std::string& bytes) {
  std::string copy = bytes;
  std::string hex(2 * bytes.size() + 1, '?');
  KBL::Bytes2HexStr(reinterpret_cast<unsigned char*>(copy.data()), static_cast<int>(copy.size()),
                    reinterpret_cast<unsigned char*>(hex.data()));
  EXPECT_EQ(hex.back(), '\0');
  hex.pop_back();
  return hex;
}

class FixedKey : public KBL::IKeyStore {
 public:
  explicit FixedKey(std::string key) : key_(std::move(key)) {}
  std::vector<unsigned char> loadOrCreateKey() override {
    ++calls;
    return {key_.begin(), key_.end()};
  }
  int calls = 0;

 private:
  std::string key_;
};

/// The key of the XTS standard's vectors for 256 bits.
const std::string standardKey =
    "2718281828459045235360287471352662497757247093699959574966967627"
    "3141592653589793238462643383279502884197169399375105820974944592";

/// The standard's vector for data unit 255 of 512 bytes 00 01 ... ff 00 01 ... ff.
const std::string standardCiphertext =
    "1c3b3a102f770386e4836c99e370cf9bea00803f5e482357a4ae12d414a3e63b5d31e276f8fe4a8d66b317f9ac683f44"
    "680a86ac35adfc3345befecb4bb188fd5776926c49a3095eb108fd1098baec70aaa66999a72a82f27d848b21d4a741b0"
    "c5cd4d5fff9dac89aeba122961d03a757123e9870f8acf1000020887891429ca2a3e7a7d7df7b10355165c8b9a6d0a7d"
    "e8b062c4500dc4cd120c0f7418dae3d0b5781c34803fa75421c790dfe1de1834f280d7667b327f6c8cd7557e12ac3a0f"
    "93ec05c52e0493ef31a12d3d9260f79a289d6a379bc70c50841473d1a8cc81ec583e9645e07b8d9670655ba5bbcfecc6"
    "dc3966380ad8fecb17b6ba02469a020a84e18e8f84252070c13e9f1f289be54fbc481457778f616015e1327a02b140f1"
    "505eb309326d68378f8374595c849d84f4c333ec4423885143cb47bd71c5edae9be69a2ffeceb1bec9de244fbe15992b"
    "11b77c040f12bd8f6a975a44a0f90c29a9abc3d4d893927284c58754cce294529f8614dcd2aba991925fedc4ae74ffac"
    "6e333b93eb4aff0479da9a410e4450e0dd7ae4c6e2910900575da401fc07059f645e8b7e9bfdef33943054ff84011493"
    "c27b3429eaedb4ed5376441a77ed43851ad77f16f541dfd269d50d6a5f14fb0aab1cbb4c1550be97f7ab4066193c4caa"
    "773dad38014bd2092fa755c824bb5e54c4f36ffda9fcea70b9c6e693e148c151";

class Cipher : public testing::Test {
 protected:
  void SetUp() override { KBL::setKeyStore(store); }
  void TearDown() override { KBL::setKeyStore(nullptr); }

  static std::string encrypted(const std::string& plain) {
    std::string out(plain.size(), '\0');
    EXPECT_EQ(KBL::aes256Encrypt(plain.data(), out.data(), static_cast<unsigned>(plain.size())),
              KBL::resultOk);
    return out;
  }

  static std::string decrypted(const std::string& sealed) {
    std::string out(sealed.size(), '\0');
    EXPECT_EQ(KBL::aes256Decrypt(sealed.data(), out.data(), static_cast<unsigned>(sealed.size())),
              KBL::resultOk);
    return out;
  }

  const std::shared_ptr<FixedKey> store = std::make_shared<FixedKey>(bytesOf(standardKey));
};

TEST_F(Cipher, GivesTheStandardsCiphertextInItsDataUnit) {
  constexpr std::size_t unit = 512;
  std::string plain(256 * unit, 'x');
  for (std::size_t i = 0; i < unit; ++i) plain[255 * unit + i] = static_cast<char>(i & 0xff);

  const std::string sealed = encrypted(plain);

  EXPECT_EQ(hexOf(sealed.substr(255 * unit)), standardCiphertext);
}

TEST_F(Cipher, GivesKnownCiphertextsOfShortTexts) {
  std::string counting(48, '\0');
  std::iota(counting.begin(), counting.end(), '\0');

  EXPECT_EQ(hexOf(encrypted(std::string(16, '1'))), "68fdfaef2fc43678da4bbd83dcecf15b");
  EXPECT_EQ(
      hexOf(encrypted(counting)),
      "3a060a8cad115a6f44572e3759e43c8fcad8bfcb233ff6ad71b7c1e7ca651508860aed34ec9506d368aa50274a31c16d");
  EXPECT_EQ(hexOf(encrypted(std::string(528, '\0')).substr(512)), "d3ce98cab12ef3de78997b576e673fc3");
}

TEST_F(Cipher, DecipheringGivesTheTextBackAtEverySize) {
  for (std::size_t size = 16; size <= 2048; size += 16) {
    std::string plain(size, '\0');
    std::iota(plain.begin(), plain.end(), static_cast<char>(size / 16));
    ASSERT_EQ(decrypted(encrypted(plain)), plain) << size;
  }
}

TEST_F(Cipher, WorksInPlace) {
  std::string text(1040, 'p');

  KBL::aes256Encrypt(text.data(), text.data(), 1040);
  EXPECT_EQ(text, encrypted(std::string(1040, 'p')));
  KBL::aes256Decrypt(text.data(), text.data(), 1040);

  EXPECT_EQ(text, std::string(1040, 'p'));
}

TEST_F(Cipher, IsNoStreamMode) {
  const std::string sealedA = encrypted(std::string(32, 'a'));
  const std::string sealedB = encrypted("b" + std::string(31, 'a'));

  EXPECT_NE(sealedA.substr(1, 15), sealedB.substr(1, 15));
  EXPECT_NE(sealedA.substr(0, 16), sealedA.substr(16));
}

TEST_F(Cipher, OddSizesAreRefusedAndNothingIsWritten) {
  const std::string input(64, 'i');
  for (const unsigned size : {0U, 1U, 15U, 17U, 31U, 33U}) {
    std::string output(64, 'o');
    EXPECT_EQ(KBL::aes256Encrypt(input.data(), output.data(), size), KBL::resultFailed) << size;
    EXPECT_EQ(KBL::aes256Decrypt(input.data(), output.data(), size), KBL::resultFailed) << size;
    EXPECT_EQ(output, std::string(64, 'o')) << size;
  }
}

TEST_F(Cipher, NullPointersAreRefused) {
  char buffer[16] = {};

  EXPECT_EQ(KBL::aes256Encrypt(nullptr, buffer, 16), KBL::resultFailed);
  EXPECT_EQ(KBL::aes256Encrypt(buffer, nullptr, 16), KBL::resultFailed);
  EXPECT_EQ(KBL::aes256Decrypt(nullptr, buffer, 16), KBL::resultFailed);
  EXPECT_EQ(KBL::aes256Decrypt(buffer, nullptr, 16), KBL::resultFailed);
}

TEST_F(Cipher, KeyIsAskedForOnce) {
  (void)encrypted(std::string(16, 'x'));
  (void)encrypted(std::string(16, 'x'));

  EXPECT_EQ(store->calls, 1);
}

TEST_F(Cipher, StoreWithoutAKeyFailsAndIsAskedAgain) {
  const auto empty = std::make_shared<FixedKey>("");
  KBL::setKeyStore(empty);
  std::string output(16, 'o');

  EXPECT_EQ(KBL::aes256Encrypt(std::string(16, 'i').data(), output.data(), 16), KBL::resultFailed);
  EXPECT_EQ(KBL::aes256Encrypt(std::string(16, 'i').data(), output.data(), 16), KBL::resultFailed);

  EXPECT_EQ(output, std::string(16, 'o'));
  EXPECT_EQ(empty->calls, 2);
}

TEST_F(Cipher, KeyInHandServesWithoutItsStore) {
  const KBL::CipherKey key = KBL::CipherKey::current();
  const int calls = store->calls;
  KBL::setKeyStore(std::make_shared<FixedKey>(""));
  std::string sealed(32, '\0');
  std::string plain(32, '\0');

  EXPECT_TRUE(key);
  EXPECT_EQ(key.encrypt(std::string(32, 'x').data(), sealed.data(), 32), KBL::resultOk);
  EXPECT_EQ(key.decrypt(sealed.data(), plain.data(), 32), KBL::resultOk);

  EXPECT_EQ(plain, std::string(32, 'x'));
  EXPECT_EQ(store->calls, calls);
  EXPECT_FALSE(KBL::CipherKey::current());
}

TEST_F(Cipher, NoKeyInHandEnciphersNothing) {
  std::string output(16, 'o');

  EXPECT_EQ(KBL::CipherKey().encrypt(std::string(16, 'i').data(), output.data(), 16), KBL::resultFailed);
  EXPECT_EQ(KBL::CipherKey().decrypt(std::string(16, 'i').data(), output.data(), 16), KBL::resultFailed);

  EXPECT_EQ(output, std::string(16, 'o'));
}

TEST_F(Cipher, StoreThatThrowsHasNoKey) {
  struct Throwing : KBL::IKeyStore {
    std::vector<unsigned char> loadOrCreateKey() override { throw 1; }
  };
  KBL::setKeyStore(std::make_shared<Throwing>());
  char buffer[16] = {};

  EXPECT_FALSE(KBL::CipherKey::current());
  EXPECT_EQ(KBL::aes256Encrypt(buffer, buffer, 16), KBL::resultFailed);
}

TEST_F(Cipher, BadArgumentsAskNoStore) {
  char buffer[17] = {};
  const int calls = store->calls;
  KBL::setKeyStore(store);  // forgets the key

  EXPECT_EQ(KBL::aes256Encrypt(buffer, buffer, 17), KBL::resultFailed);

  EXPECT_EQ(store->calls, calls);
}

TEST_F(Cipher, KeyOfAnotherLengthIsRefused) {
  KBL::setKeyStore(std::make_shared<FixedKey>(std::string(32, 'k')));
  char buffer[16] = {};

  EXPECT_EQ(KBL::aes256Encrypt(buffer, buffer, 16), KBL::resultFailed);
}

TEST_F(Cipher, AnotherKeyMakesTheTextUnreadableAndNothingWorse) {
  const std::string sealed = encrypted(std::string(64, 'x'));
  KBL::setKeyStore(std::make_shared<FixedKey>(std::string(64, 'k')));

  EXPECT_NE(decrypted(sealed), std::string(64, 'x'));
}

TEST(Hex, GoesBothWays) {
  EXPECT_EQ(hexOf(std::string("\x00\x7f\x80\xff", 4)), "007f80ff");
  EXPECT_EQ(bytesOf("007F80fF"), std::string("\x00\x7f\x80\xff", 4));
}

TEST(Hex, OddDigitIsDroppedAndStrangeOnesReadAsZero) {
  const std::unique_ptr<char[]> bytes(KBL::hexStr2Bytes("g1z2f", 5));

  EXPECT_EQ(std::string(bytes.get(), 3), std::string("\x01\x02\x00", 3));
}

TEST(Hex, NothingGivesATerminatedNothing) {
  const std::unique_ptr<char[]> empty(KBL::hexStr2Bytes("", 0));
  const std::unique_ptr<char[]> negative(KBL::hexStr2Bytes("ab", -4));
  unsigned char text[2] = {'x', 'x'};
  KBL::Bytes2HexStr(nullptr, 3, text);

  EXPECT_EQ(KBL::hexStr2Bytes(nullptr, 4), nullptr);
  EXPECT_EQ(empty[0], '\0');
  EXPECT_EQ(negative[0], '\0');
  EXPECT_EQ(text[0], '\0');
}

}  // namespace
