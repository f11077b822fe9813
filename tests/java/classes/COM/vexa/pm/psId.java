package COM.vexa.pm;

/** An identifier, as native code fills it in. */
public class psId {
  public int DB;
  public int OC;
  public int page;
  public int slot;
  public int typeN;
}
