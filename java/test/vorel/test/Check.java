package vorel.test;

import android.graphics.Bitmap;
import java.lang.reflect.InvocationTargetException;
import java.lang.reflect.Method;
import java.lang.reflect.Modifier;
import java.nio.ByteBuffer;
import java.util.Arrays;
import java.util.Map;
import java.util.TreeMap;
import java.util.concurrent.Callable;
import java.util.concurrent.atomic.AtomicBoolean;
import java.util.function.BooleanSupplier;

/** Calls the natives of one class by their names, and counts how often each succeeded and failed as it should. */
final class Check {
    private final Map<String, Method> natives = new TreeMap<>();
    private final Map<String, int[]> calls = new TreeMap<>();
    private int passed, failed;

    Check(Class<?> type) {
        for (Method method : type.getDeclaredMethods()) {
            if (!Modifier.isNative(method.getModifiers())) continue;
            natives.put(method.getName(), method);
            calls.put(method.getName(), new int[2]);
        }
        Library.captureLog();
    }

    synchronized void that(boolean holds, String what) {
        if (holds) {
            ++passed;
            return;
        }
        ++failed;
        StackWalker.StackFrame at = StackWalker.getInstance().walk(frames -> frames.filter(f -> !f.getClassName().equals(Check.class.getName())).findFirst().get());
        System.out.println("FAILED: " + what + " (" + at + ") log: " + Library.takeLog());
    }

    void equal(Object is, Object wanted, String what) {
        that(wanted.equals(is), what + ": is " + is + ", not " + wanted);
    }

    /** Bytes, or what a bitmap or a direct buffer holds. */
    void same(Object is, Object wanted, String what) {
        byte[] have = bytes(is), want = bytes(wanted);
        that(have != null && want != null && Arrays.equals(have, want), what + ": " + (have == null ? "none" : want == null ? "nothing to compare with"
            : have.length + " bytes, wanted " + want.length + ", differ at " + Arrays.mismatch(have, want)));
    }

    static byte[] bytes(Object of) {
        if (of == null || of instanceof byte[]) return (byte[]) of;
        ByteBuffer all = (of instanceof Bitmap ? ((Bitmap) of).pixels : (ByteBuffer) of).duplicate();
        byte[] bytes = new byte[all.capacity()];
        all.clear();
        all.get(bytes);
        return bytes;
    }

    /** No native may throw, leave an exception pending or a bitmap locked. */
    @SuppressWarnings("unchecked")
    <T> T call(String name, Object... arguments) {
        try {
            T result = (T) natives.get(name).invoke(null, arguments);
            for (Object argument : arguments) unlocked(name, argument);
            unlocked(name, result);
            return result;
        } catch (InvocationTargetException | IllegalAccessException e) {
            that(false, name + ": " + e.getCause());
            return null;
        }
    }

    private void unlocked(String name, Object object) {
        if (object instanceof Bitmap && ((Bitmap) object).locks != 0) that(false, name + " leaves its bitmap locked");
    }

    private <T> T counted(boolean success, boolean as, T result, String name) {
        that(as, name + (success ? " should succeed: " : " should fail: ") + result);
        if (as) synchronized (this) { ++calls.get(name)[success ? 0 : 1]; }
        return result;
    }

    /** An object, or a number above 0; a handle may have its highest bit set. */
    private static boolean isSuccess(Object result) {
        if (result instanceof Double) return (Double) result != 0;
        if (!(result instanceof Number)) return result != null;
        long value = ((Number) result).longValue();
        return value > 0 || value < -4096;
    }

    <T> T succeeds(String name, Object... arguments) {
        T result = this.<T>call(name, arguments);
        return counted(true, isSuccess(result), result, name);
    }

    <T> T fails(String name, Object... arguments) {
        T result = this.<T>call(name, arguments);
        return counted(false, !isSuccess(result), result, name);
    }

    /** For natives whose success, or failure, is a value of its own. */
    void gives(boolean success, Object wanted, String name, Object... arguments) {
        Object result = call(name, arguments);
        counted(success, wanted.equals(result), result, name);
    }

    /** The call has to fail and to leave this text in the log, under this tag. */
    void logs(String tag, String text, String name, Object... arguments) {
        Library.takeLog();
        fails(name, arguments);
        String log = Library.takeLog();
        that(text.isEmpty() || log.contains("6|" + tag + "|" + text), name + " should log " + tag + "|" + text + ", not " + log);
    }

    /** Called with null and 0 alone, a native fails and leaves this text in the log. */
    void refusesNothing(String name, String tag, String text) {
        Map<Class<?>, Object> zeros = Map.of(int.class, 0, long.class, 0L);
        logs(tag, text, name, Arrays.stream(natives.get(name).getParameterTypes()).map(zeros::get).toArray());
    }

    /** A call that succeeds and whose pixels, a bitmap's or a buffer's, are these. */
    <T> T makes(Object pixels, String name, Object... arguments) {
        T result = this.<T>succeeds(name, arguments);
        same(result, pixels, name);
        return result;
    }

    /** A call that fails and recycles the bitmap that it had made. */
    void recycles(String name, Object... arguments) {
        Bitmap.last = null;
        fails(name, arguments);
        that(Bitmap.last != null && Bitmap.last.recycled, name + " recycles its bitmap");
    }

    interface Body {
        void run() throws Exception;
    }

    /** What the body makes the library allocate is freed behind it; the first run makes what the library keeps. */
    void leavesNothing(String what, Body body) throws Exception {
        body.run();
        long live = Library.liveBytes();
        body.run();
        equal(Library.liveBytes() - live, 0L, what + ", bytes that are not freed");
    }

    /** Runs the decode while a second thread calls cancel, until that says that it is done. */
    static <T> T whileCancelling(BooleanSupplier cancel, Callable<T> decode) throws Exception {
        AtomicBoolean over = new AtomicBoolean();
        Thread canceller = new Thread(() -> {
            while (!over.get() && !cancel.getAsBoolean()) Thread.onSpinWait();
        });
        canceller.start();
        T result = decode.call();
        over.set(true);
        canceller.join();
        return result;
    }

    /** The attempt gives true where its cancel came in time; that may be late on a busy machine, but not always. */
    void isCancelled(String what, Callable<Boolean> attempt) throws Exception {
        for (int i = 0; i < 20; ++i)
            if (attempt.call()) return;
        that(false, what + " never sees a cancel");
    }

    /** Every native refuses null and 0. Prints what was called how often, and ends the process. */
    void end() {
        for (String name : natives.keySet()) refusesNothing(name, "", "");
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
