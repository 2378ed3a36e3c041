/*
 * ZVExactType.h - whether an object is of exactly one of the library's classes, not of a class
 * a host derived from it. The quick ways of the library (loading, saving, lookups, the tokenizer's
 * dispatch) are taken only for objects of its own classes, whose every step they know.
 * Internal to the library.
 */
#ifndef ZVEXACTTYPE_H
#define ZVEXACTTYPE_H

#include <typeinfo>

namespace zvenv {

/*
 * The type_info objects are compared by address: a class of the library has its type_info in
 * the library, and an object of it made anywhere points at that one, while a derived class has
 * its own. (type_info's operator== would say the same, but where the compiler does not inline
 * it, a weak copy of it ends up among the library's exported names.) Should a host ever hold a
 * second copy, the answer is "not exactly", which only takes the general way.
 */
template <typename T, typename U>
inline bool IsExactly(const U& object) {
    return &typeid(object) == &typeid(T);
}

}  // namespace zvenv

#endif /* ZVEXACTTYPE_H */
