#pragma once

#include <vector>

namespace ps::detail {

class SessionCore;

// Registers the classes of an open store that this process lacks, as far as the store describes them, and tells which
// are new. The session must be in a transaction, and only read: what objects of such a class do, only their program
// knows. So in other sessions, of this store or another one, they stay objects of an unknown class.
//
// Their objects are laid out as the newest layout says. Older ones are converted by the names of fields; a field that
// was renamed counts as new, and functions of the program are not run. An object behaves as one of the nearest base
// class that the process has. So collections of foreign classes can be opened and verified. A comparator that PS_ORDER
// made orders by what the store says of it (DescribedOrder), if all its keys are members; any other stays unknown,
// and so does a class that derives from an abstract class of the process, or from another version of one.
//
// What is registered stays so for the life of the process. A store in which one of the numbers is another class, or has
// another layout of the same version, is then refused, as in a program with a class that contradicts the store; and so
// is the program's own class when it is loaded later.
//
// False, with the reason signalled, when the classes of the store cannot be read.
bool adoptForeignClasses(SessionCore& session, std::vector<unsigned int>& adopted);

// The same of classes of collections alone, in a session that may change the store: for who makes collections anew.
bool adoptForeignCollections(SessionCore& session);

}  // namespace ps::detail
