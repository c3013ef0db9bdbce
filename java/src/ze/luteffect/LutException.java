package ze.luteffect;

/**
 * A table the library refused, or a render it could not do, with the
 * library's own reason (for example "Invalid lut file signature!").
 */
public class LutException extends Exception {
    private static final long serialVersionUID = 1L;

    public LutException(String reason) {
        super(reason);
    }
}
