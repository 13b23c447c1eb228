package vorel.test;

import android.graphics.Bitmap;
import java.lang.reflect.InvocationTargetException;
import java.lang.reflect.Method;
import java.lang.reflect.Modifier;
import java.nio.ByteBuffer;
import java.util.Arrays;
import java.util.Map;
import java.util.TreeMap;

/** Calls the natives of one class by their names, and counts how often each succeeded and failed as it should. */
final class Check {
    private final Class<?> natives;
    private final Map<String, int[]> calls = new TreeMap<>();
    private int passed, failed;
    /** What the library holds behind the first run of all; -1 before that. */
    private long live = -1;

    Check(Class<?> natives) {
        this.natives = natives;
        for (Method method : natives.getDeclaredMethods())
            if (Modifier.isNative(method.getModifiers())) calls.put(method.getName(), new int[2]);
        Library.captureLog();
        Library.liveBytes();
    }

    synchronized void that(boolean holds, String what) {
        if (holds) {
            ++passed;
        } else {
            ++failed;
            String log = Library.takeLog();
            StackTraceElement[] stack = new Throwable().getStackTrace();
            int at = 1;
            while (at + 1 < stack.length && stack[at].getClassName().equals(Check.class.getName())) ++at;
            System.out.println("FAILED: " + what + " (" + stack[at] + ") log: " + log.substring(Math.max(0, log.length() - 500)));
        }
    }

    void equal(Object is, Object wanted, String what) {
        that(wanted.equals(is), what + ": is " + is + ", not " + wanted);
    }

    void same(byte[] is, byte[] wanted, String what) {
        that(is != null && wanted != null && Arrays.equals(is, wanted), what + ": " + (is == null ? "none"
            : wanted == null ? "nothing to compare with" : is.length + " bytes, wanted " + wanted.length + ", differ at " + Arrays.mismatch(is, wanted)));
    }

    /** No native may throw, leave an exception pending or a bitmap locked. */
    @SuppressWarnings("unchecked")
    <T> T call(String name, Object... arguments) {
        for (Method method : natives.getDeclaredMethods()) {
            if (!method.getName().equals(name)) continue;
            try {
                T result = (T) method.invoke(null, arguments);
                for (Object argument : arguments) unlocked(name, argument);
                unlocked(name, result);
                return result;
            } catch (InvocationTargetException | IllegalAccessException | IllegalArgumentException e) {
                that(false, name + ": " + (e.getCause() == null ? e : e.getCause()));
                return null;
            }
        }
        throw new IllegalArgumentException(name);
    }

    private void unlocked(String name, Object object) {
        if (object instanceof Bitmap && ((Bitmap) object).locks != 0) that(false, name + " leaves its bitmap locked");
    }

    private <T> T counted(boolean success, boolean as, T result, String name) {
        that(as, name + (success ? " should succeed: " : " should fail: ") + result);
        if (as) synchronized (this) { ++calls.get(name)[success ? 0 : 1]; }
        return result;
    }

    private static boolean means(Object result) {
        return result instanceof Double ? (Double) result != 0 : result instanceof Number ? ((Number) result).longValue() > 0 || ((Number) result).longValue() < -4096 : result != null;
    }

    /** A result above 0 (handles may have their highest bit set), or an object. */
    <T> T succeeds(String name, Object... arguments) {
        T result = this.<T>call(name, arguments);
        return counted(true, means(result), result, name);
    }

    <T> T fails(String name, Object... arguments) {
        T result = this.<T>call(name, arguments);
        return counted(false, !means(result), result, name);
    }

    /** For natives whose success, or failure, is a value of its own. */
    <T> T gives(boolean success, T wanted, String name, Object... arguments) {
        T result = this.<T>call(name, arguments);
        return counted(success, wanted.equals(result), result, name);
    }

    /** The call has to fail and to leave this text in the log, under this tag. */
    void logs(String tag, String text, String name, Object... arguments) {
        Library.takeLog();
        fails(name, arguments);
        String log = Library.takeLog();
        that(log.contains("6|" + tag + "|" + text), name + " should log " + tag + "|" + text + ", not " + log);
    }

    interface Attempt {
        /** True where the cancel came in time. */
        boolean cancelled() throws Exception;
    }

    /** A second thread that cancels may be late, on a machine that has other work; not always. */
    void isCancelled(String what, Attempt attempt) throws Exception {
        for (int i = 0; i < 20; ++i)
            if (attempt.cancelled()) return;
        that(false, what + " never sees a cancel");
    }

    static byte[] bytes(ByteBuffer buffer) {
        if (buffer == null) return null;
        byte[] bytes = new byte[buffer.capacity()];
        ByteBuffer all = buffer.duplicate();
        all.clear();
        all.get(bytes);
        return bytes;
    }

    static byte[] bytes(Bitmap bitmap) {
        return bitmap == null ? null : bytes(bitmap.pixels);
    }

    interface Main {
        void main(String[] arguments) throws Exception;
    }

    /** Runs all a second time, unless null, which leaves nothing behind. Prints what was called how often, and ends the process. */
    void end(Main all) throws Exception {
        Library.takeLog();
        boolean first = live < 0;
        long before = live;
        live = Library.liveBytes();
        if (first && live >= 0 && all != null) all.main(null);
        that(first || live == before, live - before + " bytes of the library's are not freed");
        for (Map.Entry<String, int[]> call : calls.entrySet()) {
            int[] counts = call.getValue();
            System.out.printf("%-56s %5d succeeded %5d failed%n", call.getKey(), counts[0], counts[1]);
            that(counts[0] > 0, call.getKey() + " was never called with success");
            that(counts[1] > 0, call.getKey() + " was never called with failure");
        }
        System.out.println(calls.size() + " natives");
        System.out.println(passed + " passed, " + failed + " failed");
        System.exit(failed == 0 && passed > 0 ? 0 : 1);
    }
}
