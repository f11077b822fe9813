package com.vexa.pm;

import COM.vexa.pm.psId;

/** What a collection is asked for: a number, or an identifier where it goes by identifiers. */
public class Key {
  final long number;
  final psId id;
  private final int hash;

  Key(long number, psId id, int hash) {
    this.number = number;
    this.id = id;
    this.hash = hash;
  }

  @Override
  public int hashCode() {
    return hash;
  }

  /** How the element stands to this identifier. */
  int compareIdentifierOf(long element) {
    final int[] parts = {id.DB, id.OC, id.page, id.slot};
    for (int i = 0; i < parts.length; ++i) {
      final int order = Integer.compare((int) (element >>> 16 * i & 0xFFFF), parts[i]);
      if (order != 0) return order;
    }
    return 0;
  }
}
