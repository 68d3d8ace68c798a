package com.tarvoln.zem.demo;

import java.awt.AWTError;
import java.awt.Dimension;
import java.awt.EventQueue;
import java.awt.Graphics;
import java.awt.HeadlessException;
import java.awt.image.BufferedImage;
import java.util.concurrent.atomic.AtomicReference;
import javax.swing.JFrame;
import javax.swing.JPanel;
import javax.swing.WindowConstants;

/** A window with the received picture, live. A picture that comes before the last one is painted replaces it. */
final class PictureWindow {
    private final AtomicReference<DecodedPicture> next = new AtomicReference<>();
    private final JFrame frame = new JFrame("ZEM: received"); // of the event thread, as the rest
    private final Canvas canvas = new Canvas();

    private static final class Canvas extends JPanel {
        private static final long serialVersionUID = 1;

        private transient BufferedImage image;

        @Override
        protected void paintComponent(Graphics graphics) {
            super.paintComponent(graphics);
            if (image != null) {
                graphics.drawImage(image, 0, 0, getWidth(), getHeight(), null);
            }
        }
    }

    private PictureWindow() {
        frame.setDefaultCloseOperation(WindowConstants.DISPOSE_ON_CLOSE);
        frame.add(canvas);
    }

    /** A window that appears with the first picture; null, after saying so, where none can be shown. */
    static PictureWindow open() {
        try {
            return new PictureWindow();
        } catch (HeadlessException | AWTError | NoClassDefFoundError | UnsatisfiedLinkError e) {
            System.out.println("No window: " + String.valueOf(e.getMessage()).strip().split("\n")[0]
                    + "; going on without");
            return null;
        }
    }

    /** Any thread; does not wait. */
    void show(DecodedPicture picture) {
        if (next.getAndSet(picture) == null) {
            EventQueue.invokeLater(this::paint);
        }
    }

    private void paint() {
        DecodedPicture picture = next.getAndSet(null);
        if (canvas.image == null || canvas.image.getWidth() != picture.width()
                || canvas.image.getHeight() != picture.height()) {
            canvas.setPreferredSize(new Dimension(picture.width(), picture.height()));
            frame.pack();
            frame.setVisible(true);
        }
        canvas.image = picture.image();
        canvas.repaint();
    }
}
