package com.vexa.pm;

/** Compares and hashes identifiers: methods that cost little more than being called. */
public final class psScalableCollectionsPersistor {
  /** A key that can be changed, so that none need be made while something is measured. */
  static final class Key {
    long id;
  }

  public int cpp_compare(Object key, long element) {
    return Long.compareUnsigned(order(element), order(((Key) key).id));
  }

  public int cpp_hash(Object key) {
    final long id = ((Key) key).id;
    return ((int) (id >>> 32) << 20 | (int) (id >>> 48 & 0x7F) << 13 | (int) (id >>> 16 & 0x7F) << 6) + (int) (id & 0xFFFF);
  }

  /** The number in which the database comes first. */
  private static long order(long id) {
    return id << 48 | (id & 0xFFFF0000L) << 16 | id >>> 16 & 0xFFFF0000L | id >>> 48;
  }
}
