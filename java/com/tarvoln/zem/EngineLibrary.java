package com.tarvoln.zem;

/**
 * Loads the engine into the process, once.
 *
 * <p>The channels call this from their constructors and never from a static initialiser: while it is
 * being loaded the library looks up, and so initialises, all five classes with native methods. A class
 * whose initialiser waited for the library would deadlock with a second thread that does the same from
 * another of these classes.
 */
final class EngineLibrary {
    /** The library's base name: {@code libkivjni_50.so} on {@code java.library.path}. */
    private static final String NAME = "kivjni_50";

    static {
        System.loadLibrary(NAME);
    }

    private EngineLibrary() {}

    /**
     * Makes sure that the engine is loaded.
     *
     * @throws UnsatisfiedLinkError when the library is not on the library path
     */
    static void load() {
        // The static initialiser does it, under the lock that the JVM holds for a class's first use.
    }
}
