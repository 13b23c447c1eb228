package com.vorelsoft.images;

/** As if a shrinker had taken the fields away. */
public class VorelDngExif {}
