package ze.luteffect;

/** Loads the JNI library (libZeLutEffectJni.so) once. */
final class LutLibrary {
    private static boolean loaded;

    private LutLibrary() {}

    static synchronized void load() {
        if (!loaded) {
            System.loadLibrary("ZeLutEffectJni");
            loaded = true;
        }
    }
}
