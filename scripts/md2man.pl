#!/usr/bin/perl
# Writes a manual page from a template: roff text, where a line
#   .\" @include PATH
# is replaced by the Markdown file PATH (relative to the template) turned
# into roff. The documents in docs/ are the one source of the reference;
# the manual pages follow them without a second copy.
#
#   perl scripts/md2man.pl docs/man/kestrel.conf.5.in >kestrel.conf.5
#
# Markdown understood: "#" headings (the first level is dropped, "##"
# becomes a section, deeper ones subsections), paragraphs, "-" lists with
# indented continuation lines, fenced code blocks, pipe tables (each row
# becomes a tagged paragraph), `code`, **strong**, *emphasis*, [text](url).
use strict;
use warnings;
use File::Basename qw(dirname);

my $template = shift @ARGV or die "usage: md2man.pl TEMPLATE\n";
open my $in, '<', $template or die "md2man: $template: $!\n";
while (my $line = <$in>) {
  if ($line =~ /^\.\\" \@include (\S+)\s*$/) {
    print markdown(dirname($template) . "/$1");
  } elsif ($line =~ /\@DATE\@/) {
    my @t = gmtime($ENV{SOURCE_DATE_EPOCH} // time);
    my $date = sprintf '%04d-%02d-%02d', $t[5] + 1900, $t[4] + 1, $t[3];
    $line =~ s/\@DATE\@/$date/g;
    print $line;
  } else {
    print $line;
  }
}

# Text with roff's special characters escaped: backslash, and a dot or
# apostrophe at the start of a line.
sub escape {
  my ($text) = @_;
  $text =~ s/\\/\\e/g;
  return $text;
}

sub line_start {
  my ($text) = @_;
  $text =~ s/^([.'])/\\&$1/;
  return $text;
}

# Inline markup of one paragraph's text. Code may stand inside strong text,
# so the font after a code span is the one around it.
sub inline {
  my ($text) = @_;
  my $out = '';
  my $strong = 0;
  for my $part (split /(`[^`]*`)/, $text) {
    if ($part =~ /^`(.*)`$/s) {
      my $code = escape($1);
      $code =~ s/-/\\-/g;
      $out .= "\\fB$code" . ($strong ? '' : '\\fR');
      next;
    }
    $part = escape($part);
    $part =~ s/\[([^\]]+)\]\(([^)]+)\)/$1 ($2)/g;
    my @pieces = split /\*\*/, $part, -1;
    for my $k (0 .. $#pieces) {
      if ($k > 0) {
        $strong = !$strong;
        $out .= $strong ? '\\fB' : '\\fR';
      }
      my $after = $strong ? '\\fB' : '\\fR';
      $pieces[$k] =~ s/(?<!\w)\*(\S(?:.*?\S)?)\*(?!\w)/\\fI$1$after/g;
      $out .= $pieces[$k];
    }
  }
  return line_start($out);
}

sub cells {
  my ($row) = @_;
  $row =~ s/^\s*\|//;
  $row =~ s/\|\s*$//;
  return map { s/^\s+|\s+$//gr } split /\|/, $row;
}

sub markdown {
  my ($path) = @_;
  open my $md, '<', $path or die "md2man: $path: $!\n";
  my @lines = map { s/\s+$//r } <$md>;
  close $md;
  my $out = '';
  my @para;
  my $flush = sub {
    return unless @para;
    $out .= inline(join ' ', @para) . "\n";
    @para = ();
  };
  my $in_list = 0;
  for (my $i = 0; $i < @lines; $i++) {
    my $line = $lines[$i];
    if ($line =~ /^(\s*)```/) {
      my $indent = length $1;
      $flush->();
      $out .= $in_list ? ".RS 2\n" : ".RS 4\n";
      $out .= ".nf\n";
      while (++$i < @lines && $lines[$i] !~ /^\s*```/) {
        my $code = length($lines[$i]) >= $indent ? substr($lines[$i], $indent) : '';
        $out .= line_start(escape($code)) . "\n";
      }
      $out .= ".fi\n.RE\n";
      next;
    }
    if ($line =~ /^(#+)\s+(.*)$/) {
      $flush->();
      $in_list = 0;
      my ($level, $title) = (length $1, $2);
      next if $level == 1;
      $title = escape($title =~ s/`//gr);
      $out .= $level == 2 ? '.SH ' . uc($title) . "\n" : ".SS $title\n";
      next;
    }
    if ($line =~ /^\s*\|/) {
      $flush->();
      my @head = cells($line);
      $i++;    # the |---| line
      while ($i + 1 < @lines && $lines[$i + 1] =~ /^\s*\|/) {
        my @row = cells($lines[++$i]);
        $out .= ".TP\n" . inline($row[0]) . "\n";
        my @notes;
        for my $c (1 .. $#row - 1) {
          push @notes, "$head[$c]: $row[$c]" if @row > 2 && length $row[$c];
        }
        $out .= inline(join('; ', @notes) . '.') . "\n.br\n" if @notes;
        $out .= inline($row[-1]) . "\n" if @row > 1;
      }
      $out .= ".PP\n";
      next;
    }
    if ($line =~ /^- (.*)$/) {
      $flush->();
      $out .= ".IP \\(bu 2\n";
      $in_list = 1;
      push @para, $1;
      next;
    }
    if ($line eq '') {
      $flush->();
      if ($in_list && $i + 1 < @lines && $lines[$i + 1] =~ /^  \S/) {
        $out .= ".IP \"\" 2\n";
      } elsif ($in_list && $i + 1 < @lines && $lines[$i + 1] =~ /^- /) {
      } else {
        $in_list = 0;
        $out .= ".PP\n" unless $out =~ /\.PP\n$/;
      }
      next;
    }
    if ($in_list && $line =~ /^\S/ && $line !~ /^- /) {
      $flush->();
      $in_list = 0;
      $out .= ".PP\n";
    }
    push @para, $line =~ s/^\s+//r;
  }
  $flush->();
  return $out;
}
