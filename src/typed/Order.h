#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <limits>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include "core/psAbbreviation.h"
#include "core/psCompare.h"
#include "typed/View.h"

namespace ps {

// The order of identifiers, for collections without a comparator.
struct ById {
  // What elements are found by.
  using Views = std::tuple<psId>;
};

namespace detail {

template <class F>
struct Descending {
  F get;
};

template <class F>
struct ElementOfKey;
template <class C, class T>
struct ElementOfKey<T C::*> {
  using type = C;
};
template <class C, class R>
struct ElementOfKey<R (*)(const C&)> {
  using type = C;
};
template <class F>
struct ElementOfKey<Descending<F>> : ElementOfKey<F> {};
// A lambda.
template <class F>
struct ElementOfKey : ElementOfKey<decltype(&F::operator())> {};
template <class F, class C, class R>
struct ElementOfKey<R (F::*)(const C&) const> {
  using type = C;
};
// A member function of the element. More special than a member.
template <class C, class R>
struct ElementOfKey<R (C::*)() const> {
  using type = C;
};
template <class C, class R>
struct ElementOfKey<R (C::*)() const noexcept> {
  using type = C;
};

// A value of an element by which it is ordered.
template <class C, class F>
struct Key {
  F get;
  bool descends;

  using Value = std::remove_cv_t<std::remove_reference_t<std::invoke_result_t<const F&, const C&>>>;
  using V = typename View<Value>::type;
  V operator()(const C& element) const { return View<Value>::of(std::invoke(get, element)); }
};

template <class C, class F>
constexpr Key<C, F> keyOf(F get) {
  return {get, false};
}
template <class C, class F>
constexpr Key<C, F> keyOf(Descending<F> key) {
  return {key.get, true};
}

// The keys of an order, the first of which decides what the elements are.
template <class First, class... Rest>
constexpr auto orderBy(First first, Rest... rest) {
  using C = typename ElementOfKey<First>::type;
  return std::make_tuple(keyOf<C>(first), keyOf<C>(rest)...);
}

template <class Keys>
struct OrderTypes;
template <class C, class... F>
struct OrderTypes<std::tuple<Key<C, F>...>> {
  using Element = C;
  using Views = std::tuple<typename Key<C, F>::V...>;
};

// Whether members of a type are compared as what is stored in them.
template <class T, class = void>
constexpr bool isAsStored = false;
template <class T>
constexpr bool isAsStored<T, std::void_t<decltype(View<T>::isAsStored)>> = View<T>::isAsStored;

template <class V>
constexpr KeyKind keyKindOf() {
  if constexpr (std::is_same_v<V, std::string_view>) {
    return KeyKind::text;
  } else if constexpr (std::is_same_v<V, psId>) {
    return KeyKind::identifier;
  } else if constexpr (std::is_enum_v<V>) {
    return keyKindOf<std::underlying_type_t<V>>();
  } else {
    if (std::is_floating_point_v<V>) return KeyKind::floating;
    return std::is_signed_v<V> ? KeyKind::signedNumber : KeyKind::unsignedNumber;
  }
}

// The name of a persistent member of C; empty when nothing describes it.
template <class C, class T>
std::string_view nameOf(T C::*member) {
  std::ptrdiff_t offset = 0;
  static_assert(sizeof member == sizeof offset, "the Itanium C++ ABI represents a pointer to a member so");
  std::memcpy(&offset, &member, sizeof offset);
  std::vector<LevelDescription> levels;
  describeLevels<C>(levels);
  for (const LevelDescription& level : levels) {
    const Field* const end = level.fields + level.count;
    const Field* const found =
        std::find_if(level.fields, end, [offset](const Field& field) { return field.offset == offset; });
    if (found != end) return found->name;
  }
  return {};
}

// The same of a key, which may be a function.
template <class C, class F>
std::string_view fieldOf(const F&) {
  return {};
}
template <class C, class Owner, class T>
std::string_view fieldOf(T Owner::*key) {
  if constexpr (std::is_object_v<T> && std::is_convertible_v<T Owner::*, T C::*>)
    return isAsStored<std::remove_cv_t<T>> ? nameOf<C, T>(key) : std::string_view();
  else
    return {};
}

template <class C, class F>
KeyShape shapeOf(const Key<C, F>& key) {
  using V = typename Key<C, F>::V;
  KeyShape shape;
  shape.field = fieldOf<C>(key.get);
  shape.kind = keyKindOf<V>();
  if (shape.kind != KeyKind::text && shape.kind != KeyKind::identifier) shape.size = sizeof(V);
  shape.descends = key.descends;
  return shape;
}

// Registers the class of a comparator, with what it orders by.
template <class Self>
void registerOrder(const char* name, psRelocation relocation) {
  registerClass<Self>(name, relocation);
  OrderShape order;
  order.elements = Self::Element::pstTypeN;
  std::apply([&order](const auto&... key) { (order.keys.push_back(shapeOf(key)), ...); }, Self::psKeys);
  describeOrder(Self::pstTypeN, order);
}
template <class Self>
using OrderRegistration = ClassRegistration<Self, &registerOrder<Self>>;

// What the typed collections pass to a comparator as its raw key.
struct RawKey {
  // Where the search ends among elements that match: at one of them, before the first, or behind the last.
  enum class End : std::int8_t { anyMatch = 0, beforeFirst = 1, behindLast = -1 };

  const void* views;  // a tuple of the order's views
  End end = End::anyMatch;
  std::size_t parts = std::numeric_limits<std::size_t>::max();  // how many of them count
  bool isPrefix = false;                                        // the last of these, a text, is only how it begins
};

// For a handler of any exception: counts and signals as a refusal what a key function has thrown.
PS_API void noteRefusal();

// What PS_ORDER generates. Self has the keys.
template <class Self>
class Order : public psCompare {
 public:
  Order() = default;
  explicit Order(psInternalObj tag) : psCompare(tag) {}

  int compare(const pstHandle<psObj>& element, const void*& key) const override {
    const RawKey& raw = *static_cast<const RawKey*>(key);
    return answer(element, [&raw](const auto& stored) {
      const int result = compareWith<0>(stored, raw);
      return result != 0 ? result : static_cast<int>(raw.end);
    });
  }
  int compare(const pstHandle<psObj>& element, const pstHandle<psObj>& other) const override {
    return answer(element, [&other](const auto& a) {
      const auto* const b = opened(other);
      return b == nullptr ? 0 : compareObjects<0>(a, *b);
    });
  }
  int hash(const void*& key) const override { return hashOf(viewsIn<Self>(*static_cast<const RawKey*>(key))); }
  int hash(const pstHandle<psObj>& element) const override {
    return answer(element, [](const auto& stored) { return hashOf(viewsOf(stored)); });
  }
  std::uint64_t abbreviation(const void*& key) const override {
    const RawKey& raw = *static_cast<const RawKey*>(key);
    return std::max<std::uint64_t>(abbreviate<0>(viewsIn<Self>(raw), raw, 0), 1);
  }
  std::uint64_t abbreviation(const pstHandle<psObj>& element) const override {
    return answer(element, [](const auto& stored) {
      return std::max<std::uint64_t>(abbreviate<0>(viewsOf(stored), RawKey{nullptr}, 0), 1);
    });
  }
  unsigned int elementTypeN() const override { return Self::Element::pstTypeN; }

  template <class C>
  static auto viewsOf(const C& element) {
    return std::apply([&element](const auto&... key) { return std::make_tuple(key(element)...); }, Self::psKeys);
  }
  template <class C>
  static bool matches(const C& element, const RawKey& raw) {
    return compareWith<0>(element, raw) == 0;
  }
  template <std::size_t I, class C>
  static int compareObjects(const C& a, const C& b) {
    if constexpr (I == count<Self>()) {
      return 0;
    } else {
      const auto& key = std::get<I>(Self::psKeys);
      const int result = compareViews(key(a), key(b));
      if (result != 0) return key.descends ? -result : result;
      return compareObjects<I + 1>(a, b);
    }
  }

 private:
  template <class S>
  static constexpr std::size_t count() {
    return std::tuple_size_v<std::remove_const_t<decltype(S::psKeys)>>;
  }
  template <class S>
  static const typename S::Views& viewsIn(const RawKey& raw) {
    return *static_cast<const typename S::Views*>(raw.views);
  }
  static auto opened(const pstHandle<psObj>& element) {
    return static_cast<const typename Self::Element*>(static_cast<const psObj*>(element.operator->()));
  }
  // What f makes of an element. 0 when the element cannot be opened, or what a key function reads throws: a comparator
  // must not throw. The session counts that as a refusal, so nobody uses the answer.
  template <class F>
  static auto answer(const pstHandle<psObj>& element, F f) {
    const auto* const stored = opened(element);
    using Answer = decltype(f(*stored));
    if (stored == nullptr) return Answer{0};
    try {
      return f(*stored);
    } catch (...) {
      noteRefusal();
      return Answer{0};
    }
  }

  template <std::size_t I, class C>
  static int compareWith(const C& element, const RawKey& raw) {
    if constexpr (I == count<Self>()) {
      return 0;
    } else {
      if (I >= raw.parts) return 0;
      const auto& key = std::get<I>(Self::psKeys);
      const auto& wanted = std::get<I>(viewsIn<Self>(raw));
      auto stored = key(element);
      if constexpr (std::is_same_v<decltype(stored), std::string_view>) {
        if (raw.isPrefix && I + 1 == raw.parts) stored = stored.substr(0, wanted.size());
      }
      const int result = compareViews(stored, wanted);
      if (result != 0) return key.descends ? -result : result;
      return compareWith<I + 1>(element, raw);
    }
  }

  template <class Views>
  static int hashOf(const Views& views) {
    std::uint64_t hash = 0;
    std::apply([&hash](const auto&... view) { ((hash = mixed(hash ^ hashOfView(view))), ...); }, views);
    return static_cast<int>(hash >> 32);
  }

  static constexpr std::uint64_t ones = ~std::uint64_t{0};

  // The leading bits of the views, one after the other, as they sort. Of a part of a key, the bits that do not count
  // are zero, so that it is before everything that begins so, or one, so that it is behind.
  template <std::size_t I, class Views>
  static std::uint64_t abbreviate(const Views& views, const RawKey& raw, unsigned used) {
    if constexpr (I == std::tuple_size_v<Views>) {
      return 0;
    } else {
      const std::uint64_t fill = raw.end == RawKey::End::behindLast ? ones : 0;
      if (used >= 64) return 0;
      if (I >= raw.parts) return fill >> used;
      const auto& view = std::get<I>(views);
      OrderedBits bits = bitsOf(view);
      if (std::get<I>(Self::psKeys).descends) bits.bits = ~bits.bits;
      std::uint64_t counting = bits.width < 64 ? ~(ones >> bits.width) : ones;
      if constexpr (std::is_same_v<std::tuple_element_t<I, Views>, std::string_view>) {
        const bool isBeginning = raw.isPrefix && I + 1 == raw.parts && view.size() < sizeof ones;
        if (isBeginning) counting = ~(ones >> 8 * view.size());
        bits.bits = (bits.bits & counting) | (fill & ~counting);
        return bits.bits >> used;
      }
      return (bits.bits & counting) >> used | abbreviate<I + 1>(views, raw, used + bits.width);
    }
  }
  template <class V>
  static OrderedBits bitsOf(const V& view) {
    if constexpr (std::is_same_v<V, psId>)
      return {orderOf(view), 64};
    else
      return orderedBits(view);
  }
};

}  // namespace detail

// For a key in PS_ORDER: the greatest comes first.
template <class F>
constexpr detail::Descending<F> descending(F key) {
  return {key};
}

}  // namespace ps

// Defines a comparator class, in a namespace or at global scope, in a header or a source file:
//
//   PS_ORDER(ByName, 20110, &Package::name)
//   PS_ORDER(BySize, 20111, ps::descending(&Package::size), &Package::name)
//   PS_ORDER(ByYear, 20112, [](const Package& p) { return p.date() / 10000; })
//
// The number is a class number of its own, as in PS_PERSISTENT_CLASS. A key is a member, a member function or a
// function of a const reference to the element; the first one says what the elements are. Its values are numbers,
// enumerations, texts or references; see ps::View. Texts compare by their bytes. What
// a function throws, because it cannot read something, counts as a refusal. The comparator compares, hashes and
// abbreviates elements and the keys of the typed collections. The raw keys of the collections that are not typed mean
// nothing to it.
//
// It registers itself. While collections have it, do not change what it orders by without PS_ORDER_VERSION, whose
// version you raise with each change: see ps::reorder.
#define PS_ORDER(Name, number, ...) PS_ORDER_VERSION(Name, number, 0, __VA_ARGS__)
#define PS_ORDER_VERSION(Name, number, version, ...)                             \
  class Name : public ps::detail::Order<Name> {                                  \
    PS_PERSISTENT_CLASS(Name, ps::detail::Order<Name>, number)                   \
   public:                                                                       \
    static constexpr auto psKeys = ps::detail::orderBy(__VA_ARGS__);             \
    using Types = ps::detail::OrderTypes<std::remove_const_t<decltype(psKeys)>>; \
    using Element = typename Types::Element;                                     \
    using Views = typename Types::Views;                                         \
    Name() = default;                                                            \
  };                                                                             \
  inline const ps::detail::OrderRegistration<Name> psRegistrationOf##Name(#Name, version);
