# Writes the LDIF of the sample directory: the suffix, ou=People and
# `count` generated people (default 240), the same every run.
#   awk -v count=240 -v password='{SSHA}...' -f people.awk
# Every 15th person gets a home page, every 12th a photo address
# /photos/<uid>.svg (svg.sh draws those pictures).

function pick(list, i,    parts, n) {
  n = split(list, parts, "|")
  return parts[(i % n) + 1]
}

BEGIN {
  if (count == "") count = 240
  firsts = "Ada|Ben|Carla|Dmitri|Elena|Farid|Greta|Hugo|Ines|Jonas|Kira|Liam|" \
           "Maya|Nils|Olga|Pavel|Quinn|Rosa|Sven|Tara|Umar|Vera|Wes|Yara"
  lasts = "Adler|Brandt|Castillo|Dubois|Eriksen|Fischer|Garcia|Hansen|" \
          "Ivanova|Jensen|Kowalski|Lindqvist"
  titles = "Engineer|Senior Engineer|Technician|Analyst|Accountant|" \
           "Sales Manager|Designer|Recruiter|Team Lead|Director|Buyer|Editor"
  units = "Engineering|Sales|Finance|Support|Research|Marketing|Logistics|" \
          "Legal"
  streets = "Main Street|Oak Avenue|River Road|Station Road|High Street|" \
            "Park Lane|Church Street|Mill Road|Hill Street|Lake Drive"
  # city, state or region, postal code prefix, country, phone prefix
  places = "Springfield;IL;627;US;+1 (217) 555-|Portland;OR;972;US;+1 (503) 555-|" \
           "Austin;TX;733;US;+1 (512) 555-|Toronto;ON;M5H;CA;+1 (416) 555-|" \
           "Manchester;ENG;M1;GB;+44 161 496 |Hamburg;HH;20;DE;+49 40 5550 |" \
           "Lyon;ARA;690;FR;+33 4 72 55 |Melbourne;VIC;30;AU;+61 3 5550 "

  print "dn: dc=example,dc=com"
  print "objectClass: dcObject"
  print "objectClass: organization"
  print "dc: example"
  print "o: Example Org"
  print ""
  print "dn: ou=People,dc=example,dc=com"
  print "objectClass: organizationalUnit"
  print "ou: People"
  print ""

  for (i = 0; i < count; i++) {
    first = pick(firsts, i)
    last = pick(lasts, int(i / 24) * 5 + i)
    uid = tolower(substr(first, 1, 1) last) sprintf("%03d", i)
    round = int(i / 24)
    split(pick(places, int(i / 3) + round), place, ";")
    number = sprintf("%04d", 1000 + (i * 37) % 9000)

    print "dn: cn=" first " " last ",ou=People,dc=example,dc=com"
    print "objectClass: inetOrgPerson"
    print "objectClass: demoPerson"
    print "cn: " first " " last
    print "sn: " last
    print "givenName: " first
    print "uid: " uid
    print "title: " pick(titles, i * 7 + round * 5)
    print "ou: " pick(units, i * 3 + round)
    print "mail: " tolower(first) "." tolower(last) "@example.com"
    print "telephoneNumber: " place[5] number
    if (i % 4 == 1) print "mobile: " place[5] sprintf("%04d", 9999 - i)
    print "street: " (10 + (i * 13) % 190) " " pick(streets, i * 11)
    print "l: " place[1]
    print "st: " place[2]
    print "postalCode: " place[3] sprintf("%02d", i % 100)
    print "c: " place[4]
    if (i % 15 == 0) print "labeledURI: http://www.example.com/~" uid
    if (i % 12 == 0) print "photoURL: /photos/" uid ".svg"
    if (password != "") print "userPassword: " password
    print ""
  }
}
