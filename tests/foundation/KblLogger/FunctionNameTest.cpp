#include <KblLogger/KblLogger.h>

#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <source_location>
#include <string>
#include <vector>

using KBL::qualifiedFunctionName;

namespace KBL::FunctionNames {

std::string here(const std::source_location& place = std::source_location::current()) {
  return qualifiedFunctionName(place.function_name());
}

template <class T>
struct Box {
  std::string made = here();

  Box() : inConstructor(here()) {}
  ~Box() {
    if (destroyed != nullptr) *destroyed = here();
  }
  std::string get(T) const { return here(); }
  template <class U>
  std::string convert(U (*)(T)) {
    return here();
  }
  static std::string shared() { return here(); }
  std::string operator()(int) { return here(); }
  std::string operator[](int) { return here(); }
  std::string operator<(const Box&) const { return here(); }
  std::string operator->*(int) { return here(); }
  std::string operator<<(int) { return here(); }
  std::string operator+=(int) { return here(); }
  operator std::string() const { return here(); }

  std::string inConstructor;
  std::string* destroyed = nullptr;
};

namespace {

std::string hidden() {
  return here();
}

struct Hidden {
  virtual ~Hidden() = default;
  virtual std::string operation() const noexcept { return here(); }
};

}  // namespace

std::map<int, std::vector<std::string>> complicated(const std::function<void(int)>&,
                                                    void (*)(std::map<int, int>)) {
  return {{0, {here()}}};
}

std::string lambda() {
  const auto outer = [](int) {
    const auto inner = [] { return here(); };
    return inner();
  };
  return outer(0);
}

std::string localClass() {
  struct Local {
    std::string operation() { return here(); }
  };
  return Local().operation();
}

std::string operator+(const Box<std::map<int, long>>&, int) {
  return here();
}

}  // namespace KBL::FunctionNames

namespace names = KBL::FunctionNames;

TEST(FunctionName, IsQualifiedForEveryKindOfFunctionOfThisCompiler) {
  std::string destroyed;
  names::Box<std::map<int, long>> box;
  {
    names::Box<int> other;
    other.destroyed = &destroyed;
    EXPECT_EQ(other.inConstructor, "KBL::FunctionNames::Box::Box");
  }

  EXPECT_EQ(destroyed, "KBL::FunctionNames::Box::~Box");
  EXPECT_EQ(box.get({}), "KBL::FunctionNames::Box::get");
  EXPECT_EQ(box.convert<std::vector<int>>(nullptr), "KBL::FunctionNames::Box::convert");
  EXPECT_EQ(box.shared(), "KBL::FunctionNames::Box::shared");
  EXPECT_EQ(box(1), "KBL::FunctionNames::Box::operator()");
  EXPECT_EQ(box[1], "KBL::FunctionNames::Box::operator[]");
  EXPECT_EQ((box < box), "KBL::FunctionNames::Box::operator<");
  EXPECT_EQ(box->*1, "KBL::FunctionNames::Box::operator->*");
  EXPECT_EQ(box << 1, "KBL::FunctionNames::Box::operator<<");
  EXPECT_EQ((box += 1), "KBL::FunctionNames::Box::operator+=");
  EXPECT_EQ(names::hidden(), "KBL::FunctionNames::hidden");
  EXPECT_EQ(names::Hidden().operation(), "KBL::FunctionNames::Hidden::operation");
  EXPECT_EQ(names::complicated(nullptr, nullptr)[0][0], "KBL::FunctionNames::complicated");
  EXPECT_EQ(names::lambda(), "KBL::FunctionNames::lambda");
  EXPECT_EQ(names::localClass(), "KBL::FunctionNames::localClass::Local::operation");
  EXPECT_EQ(box + 1, "KBL::FunctionNames::operator+");
}

TEST(FunctionName, IsReadFromTheFormsOfAllCompilers) {
  const std::vector<std::pair<const char*, const char*>> forms = {
      // GCC
      {"int main()", "main"},
      {"main", "main"},
      {"KBL::Box<T>::Box() [with T = std::function<void(int)>]", "KBL::Box::Box"},
      {"KBL::Box<T>& KBL::Box<T>::operator=(const KBL::Box<T>&) [with T = int]", "KBL::Box::operator="},
      {"KBL::Box<T>::operator std::vector<T>() [with T = int]", "KBL::Box::operator std::vector"},
      {"KBL::Box<T>::operator bool() const [with T = int]", "KBL::Box::operator bool"},
      {"static void* KBL::Box<T>::operator new(size_t) [with T = int; size_t = long unsigned int]",
       "KBL::Box::operator new"},
      {"auto KBL::Box<T>::operator<=>(int) const [with T = int]", "KBL::Box::operator<=>"},
      {"void KBL::Box<T>::operator,(int) [with T = int]", "KBL::Box::operator,"},
      {"int KBL::operator\"\"_x(long long unsigned int)", "KBL::operator\"\"_x"},
      {"decltype ((t + 1)) KBL::tr(T) [with T = int; decltype ((t + 1)) = int]", "KBL::tr"},
      {"decltype(auto) KBL::da(int)", "KBL::da"},
      {"void (* KBL::fp(int))(double)", "KBL::fp"},
      {"virtual int KBL::Outer::Inner::v() const", "KBL::Outer::Inner::v"},
      {"long long unsigned int KBL::ull()", "KBL::ull"},
      {"std::string KBL::at(int (&)[3])", "KBL::at"},
      {"std::string KBL::text[abi:cxx11](int)", "KBL::text"},
      {"KBL::A::f(int) const::<lambda(auto:11)> [with auto:11 = int]", "KBL::A::f"},
      {"KBL::{anonymous}::anon()::<lambda(int)>::<lambda()>", "KBL::anon"},
      {"KBL::<lambda()>", "KBL"},
      {"constexpr int KBL::f(A::B) [with A = C::D]", "KBL::f"},
      {"int KBL::A::f(int) const::Local::operation()", "KBL::A::f::Local::operation"},
      // Clang
      {"void KBL::(anonymous namespace)::anon()", "KBL::anon"},
      {"auto KBL::A::f(int)::(anonymous class)::operator()(int) const", "KBL::A::f"},
      {"auto KBL::A::f(int)::(lambda at /a/b.cpp:1:2)::operator()() const", "KBL::A::f"},
      {"T KBL::Box<int>::get(T) const [T = int]", "KBL::Box::get"},
      {"std::basic_string<char> KBL::f()", "KBL::f"},
      {"KBL::Box<std::map<int, long>>::~Box() [T = std::map<int, long>]", "KBL::Box::~Box"},
      {"<dependent type> KBL::tr(T) [T = int]", "KBL::tr"},
      {"Box<T> *KBL::Box<int>::operator->() [T = int]", "KBL::Box::operator->"},
      {"bool KBL::Box<int>::operator<(const Box<T> &) const [T = int]", "KBL::Box::operator<"},
      {"std::vector<T> KBL::Box<int>::operator vector() [T = int]", "KBL::Box::operator vector"},
      {"void KBL::(anonymous namespace)::anon()::L::g()", "KBL::anon::L::g"},
      // Microsoft
      {"void __cdecl KBL::A::f(int)", "KBL::A::f"},
      {"public: virtual int __thiscall KBL::A::f(void) const", "KBL::A::f"},
      {"class std::basic_string<char,struct std::char_traits<char> > __cdecl KBL::f(class A *)", "KBL::f"},
      {"auto __cdecl KBL::A::f::<lambda_1>::operator ()(void) const", "KBL::A::f"},
      {"bool __cdecl KBL::A::operator ()(int)", "KBL::A::operator()"},
      {"bool __cdecl KBL::operator <(const struct A &,const struct A &)", "KBL::operator<"},
      {"void __cdecl KBL::`anonymous-namespace'::anon(void)", "KBL::anon"},
      {"__cdecl KBL::Box<int>::Box(void)", "KBL::Box::Box"},
      {"void *__cdecl KBL::A::f(void (__cdecl *)(int))", "KBL::A::f"},
  };
  for (const auto& [form, name] : forms) EXPECT_EQ(qualifiedFunctionName(form), name) << form;
}

TEST(FunctionName, OddTextsNeverFail) {
  EXPECT_EQ(qualifiedFunctionName(nullptr), "");
  EXPECT_EQ(qualifiedFunctionName(""), "");
  for (const char* odd :
       {"(", ")", "<", "<<<", "[", "::", "operator", "operator<", "a(b", "a::(", "((((", "~", "a::b<"}) {
    (void)qualifiedFunctionName(odd);
  }
}
