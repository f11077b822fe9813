#pragma once

// How an object is opened.
enum psMode {
  pscNoOpen = 0,  // name the object only
  pscRead = 1,
  pscUpdate = 2,
};

// What the caller of an iterator will do with the element.
enum psLockMode {
  pscNoLock = 0,
  pscLockUpdate = 1,
};

// How grave a signalled error is. The library signals its own as pscError.
enum psErrorLevel {
  pscInformation = 0,
  pscWarning = 1,
  pscError = 2,
};
