package COM.vexa.pm;

/** An identifier without type. */
public class psId {
  public int DB;
  public int OC;
  public int page;
  public int slot;
}
